#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vfwtool/base/text.h"
#include "tools/vfwtool/media/packets.h"

namespace vfwtool {

/// How far two planes of samples are apart.
struct PlaneDifference {
  std::uint64_t samples = 0;
  std::uint64_t squares = 0;  ///< The sum of the squared differences.
  std::uint32_t largest = 0;

  void Add(std::uint8_t a, std::uint8_t b);
  PlaneDifference& operator+=(const PlaneDifference& other);

  /// The peak signal-to-noise ratio in decibels; infinite where the planes are equal.
  double Psnr() const;
};

/// Whether the sound of two AVIs is the same, byte for byte and at the same moment.
struct SoundComparison {
  std::size_t streams = 0;   ///< That are the same.
  std::string difference{};  ///< The first one, if there is any.
};

/// Compares the sound streams of two AVIs in their order, as far as they begin before the end of
/// that many frames; `damage` as of AviPackets.
SoundComparison CompareSound(const AviReader& first, const AviReader& second, std::uint64_t frames,
                             const PacketDamage& damage = nullptr);

/// What came of comparing two clips.
struct ComparisonReport {
  std::string first;
  std::string second;
  ClipFormat format;
  std::uint64_t frames = 0;
  std::vector<std::string_view> planeNames{};
  std::vector<PlaneDifference> planes{};  ///< Over all frames.
  double ssim = 0;                        ///< The mean over all frames.
  std::uint64_t worstFrame = 0;           ///< Counted from 1; the one of the lowest PSNR.
  double worstPsnr = 0;
  std::optional<SoundComparison> sound{};  ///< Of two AVIs.

  PlaneDifference Overall() const;
  /// Several lines for people, each ended.
  std::string Text() const;
  JsonObject Json() const;
};

/// Compares two clips frame by frame: PSNR over all samples, SSIM of the luminance (of RGB clips:
/// the mean of the three colours). Throws ToolError (kInput) when they differ in size, in kind of
/// format or in length; `maxFrames` frames are looked at at most.
ComparisonReport CompareClips(FrameSource& first, FrameSource& second, std::uint64_t maxFrames);

/// The structural similarity of two planes: the mean over windows of 8 x 8 samples, 4 apart.
double Ssim(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b, std::size_t width,
            std::size_t height);

}  // namespace vfwtool
