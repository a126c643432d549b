#pragma once

#include <windows.h>

#include <vfw.h>

#include <concepts>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

namespace qivm::test {

using DriverProcFunction = LRESULT(CALLBACK*)(DWORD_PTR id, HDRVR driver, UINT message,
                                              LPARAM parameter1, LPARAM parameter2);

/// A message parameter: a number or a pointer.
class Parameter {
 public:
  template <std::integral Number>
  Parameter(Number number) : value_(static_cast<LPARAM>(number)) {}
  template <typename Pointed>
  Parameter(Pointed* pointer) : value_(reinterpret_cast<LPARAM>(pointer)) {}
  Parameter(std::nullptr_t /*null*/) : value_(0) {}

  LPARAM Value() const { return value_; }

 private:
  LPARAM value_;
};

/// The path of the built driver, next to the test program.
std::string DriverPath();

/// The built driver, loaded from its file and called by its one export.
class DriverModule {
 public:
  /// What a host gives as the driver handle; the codec only passes it on.
  static HDRVR HostHandle() { return reinterpret_cast<HDRVR>(LPARAM{0x1234}); }

  DriverModule() { Load(); }
  ~DriverModule() { Unload(); }
  DriverModule(const DriverModule&) = delete;
  DriverModule& operator=(const DriverModule&) = delete;

  /// Unloads and loads the library, so that its attach hook runs anew.
  void Reload() {
    Unload();
    Load();
  }

  HMODULE Handle() const { return module_; }
  DriverProcFunction Function() const { return function_; }

  LRESULT Send(DWORD_PTR id, UINT message, Parameter parameter1 = 0,
               Parameter parameter2 = 0) const {
    return function_(id, HostHandle(), message, parameter1.Value(), parameter2.Value());
  }

  /// Sends DRV_OPEN with an ICOPEN for `handler`; returns the id.
  DWORD_PTR Open(DWORD handler = MAKEFOURCC('Q', 'I', 'V', 'M')) const;

 private:
  void Load();
  void Unload();

  HMODULE module_ = nullptr;
  DriverProcFunction function_ = nullptr;
};

/// A codec instance that is closed at the end of its scope.
class Instance {
 public:
  explicit Instance(const DriverModule& driver, DWORD handler = MAKEFOURCC('Q', 'I', 'V', 'M'))
      : Instance(driver, driver.Open(handler), Adopt()) {}
  /// Of an id that the caller got by opening.
  struct Adopt {};
  Instance(const DriverModule& driver, DWORD_PTR id, Adopt /*tag*/) : driver_(driver), id_(id) {
    EXPECT_NE(id_, 0U);
  }
  ~Instance() { Close(); }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  void Close() {
    if (id_ != 0) {
      EXPECT_EQ(driver_.Send(id_, DRV_CLOSE), 1);
      id_ = 0;
    }
  }
  DWORD_PTR Id() const { return id_; }
  LRESULT Send(UINT message, Parameter parameter1 = 0, Parameter parameter2 = 0) const {
    return driver_.Send(id_, message, parameter1, parameter2);
  }

 private:
  const DriverModule& driver_;
  DWORD_PTR id_;
};

/// Every test has a freshly loaded driver.
class DriverTest : public ::testing::Test {
 protected:
  DriverModule driver_;
};

constexpr DWORD kQivmCode = MAKEFOURCC('Q', 'I', 'V', 'M');
constexpr DWORD kMmesCode = MAKEFOURCC('M', 'M', 'E', 'S');

}  // namespace qivm::test
