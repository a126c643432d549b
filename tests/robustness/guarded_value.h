#pragma once

#include <cstring>

#include "tests/support/guarded_buffer.h"

namespace qivm::test {

/// A structure that ends where memory ends.
template <typename Value>
class GuardedValue {
 public:
  explicit GuardedValue(const Value& value) : buffer_(sizeof(Value)) { Set(value); }

  void Set(const Value& value) { std::memcpy(buffer_.Data(), &value, sizeof(value)); }
  Value* Get() { return reinterpret_cast<Value*>(buffer_.Data()); }
  Value Copy() const {
    Value value;
    std::memcpy(&value, buffer_.Data(), sizeof(value));
    return value;
  }
  bool Holds(const Value& value) const {
    return std::memcmp(buffer_.Data(), &value, sizeof(value)) == 0;
  }
  /// Whether nothing around it was written.
  bool GapsIntact() const { return buffer_.GapsIntact(); }
  void MakeReadOnly() { buffer_.Protect(GuardedBuffer::Access::read); }

 private:
  GuardedBuffer buffer_;
};

}  // namespace qivm::test
