#pragma once

/// How the native tests look into the platform layer and make it fail. The Windows implementation
/// has no such hooks: there the tests replace the driver's imports from outside.
namespace qivm::platform {

enum class Operation { allocate, createEvent, startThread };

struct TestHooks {
  /// Asked before each operation; true makes it fail. Called on whichever thread operates.
  bool (*fails)(Operation operation) = nullptr;
  /// Receives what DebugText is given.
  void (*debugText)(const char* text) = nullptr;
};

/// The hooks in force. Set them while no other thread uses the codec.
TestHooks& Hooks() noexcept;

}  // namespace qivm::platform
