#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace qivm::test {

/// Registers the built driver with the compression manager for a code, for its lifetime.
class DriverRegistration {
 public:
  explicit DriverRegistration(const std::string& code);
  ~DriverRegistration();
  DriverRegistration(const DriverRegistration&) = delete;
  DriverRegistration& operator=(const DriverRegistration&) = delete;

 private:
  void Set(const std::string& path);

  std::string name_;
  HKEY key_ = nullptr;
  std::optional<std::string> previous_;
};

}  // namespace qivm::test
