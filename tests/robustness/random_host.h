#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/robustness/access_watch.h"
#include "tests/robustness/instance_model.h"
#include "tests/robustness/reference_frames.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"

namespace qivm::test {

/// A host without sense: it sends random messages, whose sequence follows from the seed alone, to
/// several instances of its own, and ends the program when the driver answers anything but what the
/// model of the instance says. A host is used by one thread at a time.
class RandomHost {
 public:
  static constexpr int kExitCode = 1;

  /// `lane` numbers the hosts that run at once.
  RandomHost(const DriverModule& driver, const ReferenceFrames& references, std::size_t lane,
             std::uint64_t seed);

  void Run(int messages);
  void CloseAll();

  struct Counts {
    std::uint64_t messages = 0;
    std::uint64_t begins = 0;       // that gave a context
    std::uint64_t frames = 0;       // compressed or decompressed on sound buffers
    std::uint64_t damaged = 0;      // with something wrong about the frame or its buffers
    std::uint64_t comparisons = 0;  // with a reference
    std::uint64_t dialogs = 0;
  };
  const Counts& Total() const { return counts_; }
  /// Prints what the host is doing.
  void Describe() const;

 private:
  struct OpenInstance {
    OpenInstance(DWORD_PTR theId, DWORD handler) : id(theId), model(handler) {}

    DWORD_PTR id;
    InstanceModel model;
  };
  struct MessageKind {
    unsigned weight;
    void (RandomHost::*send)(OpenInstance& instance);
  };
  static const MessageKind kKinds[];

  void Step();
  void ChooseHost();
  LRESULT Send(DWORD_PTR id, UINT message, Parameter parameter1, Parameter parameter2);
  void Check(bool sound, const char* what) const;
  void Expect(LRESULT got, LRESULT expected) const;
  /// An address that must not be touched, or any number.
  LPARAM WildParameter();
  DWORD_PTR AnyId();

  void Open();
  void SendWithoutInstance();
  void SendWithoutEffect(OpenInstance& instance);
  void SendToDefaultProcedure(OpenInstance& instance);
  void SendUnknown(OpenInstance& instance);
  void SendDrawing(OpenInstance& instance);
  void ConfigureDriver(OpenInstance& instance);
  void ShowDialog(OpenInstance& instance);
  void Close(OpenInstance& instance);
  void GetInfo(OpenInstance& instance);
  void GetState(OpenInstance& instance);
  void SetState(OpenInstance& instance);
  void GetQuality(OpenInstance& instance);
  void SetQuality(OpenInstance& instance);

  void CompressQuery(OpenInstance& instance);
  void CompressGetFormat(OpenInstance& instance);
  void CompressGetSize(OpenInstance& instance);
  void CompressBegin(OpenInstance& instance);
  void CompressEnd(OpenInstance& instance);
  void DecompressQuery(OpenInstance& instance);
  void DecompressGetFormat(OpenInstance& instance);
  void DecompressBegin(OpenInstance& instance);
  void DecompressEnd(OpenInstance& instance);

  void Compress(OpenInstance& instance);
  void CompressSound(OpenInstance& instance, std::size_t format, std::size_t size);
  void CompressDamaged(OpenInstance& instance);
  void Decompress(OpenInstance& instance);
  /// The format that a decompression has begun with, or sometimes another.
  BITMAPINFOHEADER MostlyBegunFormat(const BITMAPINFOHEADER& begun);
  void DecompressSound(OpenInstance& instance);
  void DecompressMutated(OpenInstance& instance);
  void DecompressDamaged(OpenInstance& instance);
  LPARAM WrongSize(std::size_t size);

  const DriverModule& driver_;
  const ReferenceFrames& references_;
  std::size_t lane_;
  std::uint64_t seed_;
  Random random_;
  GuardedBuffer wall_;  // cannot be accessed, as large as the largest reference picture
  std::list<OpenInstance> instances_;
  Counts counts_;
  UINT message_ = 0;  // the last one sent
};

}  // namespace qivm::test
