#include "benchmarks/frame_task.h"

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace qivm::bench {

namespace {

struct FormatDescription {
  std::string_view name;
  ClientFormat format;
  FourCC compression;
  std::uint16_t bitCount;
};

constexpr std::array<FormatDescription, 3> kFormats = {{
    {"yuy2", ClientFormat::yuy2, kYuy2, 16},
    {"rgb24", ClientFormat::rgb24, kBiRgb, 24},
    {"rgb32", ClientFormat::rgb32, kBiRgb, 32},
}};

const FormatDescription& Describe(ClientFormat format) {
  for (const FormatDescription& description : kFormats) {
    if (description.format == format) {
      return description;
    }
  }
  throw std::logic_error("a format that is not measured");
}

ClientFormat ParseFormat(const std::string& text) {
  for (const FormatDescription& description : kFormats) {
    if (description.name == text) {
      return description.format;
    }
  }
  throw std::runtime_error("unknown format " + text);
}

double ParseNumber(const std::string& option, const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || value < 0) {
    throw std::runtime_error(option + " needs a number, not '" + text + "'");
  }
  return value;
}

void ParseSize(const std::string& text, FrameTask& task) {
  const std::size_t x = text.find('x');
  if (x == std::string::npos) {
    throw std::runtime_error("--size needs WIDTHxHEIGHT, not '" + text + "'");
  }
  task.width = static_cast<int>(ParseNumber("--size", text.substr(0, x)));
  task.height = static_cast<int>(ParseNumber("--size", text.substr(x + 1)));
}

void ParseOption(const std::string& option, const std::string& value, FrameTask& task) {
  if (option == "--size") {
    ParseSize(value, task);
  } else if (option == "--format") {
    task.format = ParseFormat(value);
  } else if (option == "--quality") {
    task.quality = static_cast<std::uint32_t>(ParseNumber(option, value));
  } else if (option == "--seconds") {
    task.seconds = ParseNumber(option, value);
  } else if (option == "--threads") {
    task.threads = static_cast<unsigned>(ParseNumber(option, value));
  } else if (option == "--tier") {
    task.tier = value;
  } else if (option == "--driver") {
    task.driver = value;
  } else if (option == "--output") {
    task.output = value;
  } else {
    throw std::runtime_error("unknown option " + option);
  }
}

}  // namespace

FrameTask ParseFrameTask(const std::vector<std::string>& arguments) {
  if (arguments.size() < 2 || (arguments[0] != "decode" && arguments[0] != "encode")) {
    throw std::runtime_error("the first argument is decode or encode, the second the input file");
  }
  FrameTask task;
  task.direction =
      arguments[0] == "decode" ? FrameTask::Direction::decode : FrameTask::Direction::encode;
  task.input = arguments[1];
  for (std::size_t i = 2; i < arguments.size(); i += 2) {
    if (i + 1 == arguments.size()) {
      throw std::runtime_error(arguments[i] + " needs a value");
    }
    ParseOption(arguments[i], arguments[i + 1], task);
  }
  if (task.width <= 0 || task.height <= 0 || task.width % 16 != 0 || task.height % 16 != 0) {
    throw std::runtime_error("--size needs multiples of 16");
  }
  return task;
}

std::string_view FormatName(ClientFormat format) { return Describe(format).name; }

BitmapInfoHeader FrameTask::BitmapHeader() const {
  BitmapInfoHeader header;
  header.biWidth = width;
  header.biHeight = height;
  header.biBitCount = Describe(format).bitCount;
  header.biCompression = Describe(format).compression;
  header.biSizeImage = static_cast<std::uint32_t>(BitmapBytes());
  return header;
}

std::size_t FrameTask::BitmapBytes() const { return Pixels() * (Describe(format).bitCount / 8U); }

}  // namespace qivm::bench
