#include "tools/vfwtool/diagnosis.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "tools/vfwtool/file_access.h"
#include "tools/vfwtool/little_endian.h"
#include "tools/vfwtool/text.h"

namespace qivm {
namespace {

std::string FoundText(const CodecRegistration& registration) {
  if (registration.registered.empty()) {
    return "not registered";
  }
  std::string text = Concat(registration.registered, " (", registration.path, ", ");
  if (!registration.exists) {
    return text + "missing)";
  }
  text += registration.fileBits == 0 ? "no Windows library" : Concat(registration.fileBits, "-bit");
  if (registration.isTried) {
    text += registration.loadError.empty() ? ", can be loaded" : ", cannot be loaded";
  }
  return text + ')';
}

JsonObject RegistrationJson(const CodecRegistration& registration, const std::string& problem) {
  JsonObject json;
  json.Integer("bits", registration.bits)
      .Text("registered", registration.registered)
      .Text("path", registration.path)
      .Boolean("exists", registration.exists)
      .Integer("fileBits", registration.fileBits)
      .Boolean("mayWrite", registration.mayWrite);
  if (registration.isTried) {
    json.Text("loadError", registration.loadError)
        .Boolean("hasEntryPoint", registration.hasEntryPoint);
  }
  json.Text("problem", problem);
  return json;
}

}  // namespace

std::string Diagnosis::Problem(const CodecRegistration& registration) const {
  const std::string name = Concat("vidc.", FourCcText(code));
  const std::string programs = Concat(registration.bits, "-bit programs");
  if (registration.registered.empty()) {
    return Concat(programs, " do not see the codec: ", name,
                  " is not registered for them. As administrator, run the installer, or reg add "
                  "\"HKLM\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32\" /v ",
                  name, " /d FILE.dll /reg:", registration.bits);
  }
  if (!registration.exists) {
    return Concat(programs, " cannot load the codec: there is no ", registration.path,
                  ". Copy the ", registration.bits, "-bit driver there");
  }
  if (registration.fileBits != registration.bits) {
    return Concat(programs, " cannot load the codec: ", registration.path, " is ",
                  registration.fileBits == 0 ? std::string("no Windows library")
                                             : Concat("a ", registration.fileBits, "-bit library"),
                  ". Replace it by the ", registration.bits, "-bit driver");
  }
  if (!registration.isTried) {
    return {};
  }
  if (!registration.loadError.empty()) {
    return Concat(programs, " cannot load the codec: ", registration.path, ": ",
                  registration.loadError);
  }
  if (!registration.hasEntryPoint) {
    return Concat(registration.path, " is no codec: it does not export DriverProc");
  }
  if (!opensForCompression && !opensForDecompression) {
    return Concat(registration.path, " can be loaded, but does not open as a codec of the code ",
                  FourCcText(code), "; it may be the driver of another code");
  }
  return {};
}

bool Diagnosis::IsUsable() const {
  return std::ranges::all_of(registrations, [this](const CodecRegistration& registration) {
    return registration.bits != toolBits || Problem(registration).empty();
  });
}

std::string Diagnosis::Text() const {
  std::string text = Concat("codec ", FourCcText(code), ", as this ", toolBits,
                            "-bit program sees it on a ", systemBits, "-bit system\n");
  for (const CodecRegistration& registration : registrations) {
    text += Concat("  for ", registration.bits, "-bit    ", FoundText(registration), '\n');
  }
  text +=
      Concat("  rights        this user ",
             std::ranges::all_of(registrations, &CodecRegistration::mayWrite) ? "can" : "cannot",
             " register codecs\n");
  text += Concat("  compresses    ", opensForCompression ? "yes" : "no", "\n  decompresses  ",
                 opensForDecompression ? "yes" : "no", '\n');
  text += Concat("  all codecs of ", toolBits, "-bit programs:\n");
  for (const CodecDescription& codec : answering) {
    text += Concat("    ", codec.Text(), '\n');
  }
  if (answering.empty()) {
    text += "    none\n";
  }
  bool isWell = true;
  for (const CodecRegistration& registration : registrations) {
    const std::string problem = Problem(registration);
    if (!problem.empty()) {
      text += Concat(problem, ".\n");
      isWell = false;
    }
  }
  return isWell ? text + "Nothing is wrong.\n" : text;
}

JsonObject Diagnosis::Json() const {
  std::vector<JsonObject> views;
  for (const CodecRegistration& registration : registrations) {
    views.push_back(RegistrationJson(registration, Problem(registration)));
  }
  std::vector<JsonObject> codecs;
  for (const CodecDescription& codec : answering) {
    codecs.push_back(codec.Json());
  }
  JsonObject json;
  json.Text("code", FourCcText(code))
      .Integer("toolBits", toolBits)
      .Integer("systemBits", systemBits)
      .Boolean("usable", IsUsable())
      .Boolean("opensForCompression", opensForCompression)
      .Boolean("opensForDecompression", opensForDecompression)
      .List("registrations", views)
      .List("codecs", codecs);
  return json;
}

unsigned ProgramBits(const std::string& name) {
  constexpr std::size_t kHeaderPosition = 0x3C;
  constexpr std::uint16_t kMachine32 = 0x014C;
  constexpr std::uint16_t kMachine64 = 0x8664;
  std::ifstream file(PathOf(name), std::ios::binary);
  std::array<std::uint8_t, kHeaderPosition + 4> start{};
  const auto read = [&file](std::span<std::uint8_t> bytes) {
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(file);
  };
  if (!read(start) || start[0] != 'M' || start[1] != 'Z') {
    return 0;
  }
  file.seekg(static_cast<std::streamoff>(ReadLittleEndian32(start, kHeaderPosition)));
  std::array<std::uint8_t, 6> header{};
  if (!read(header) || header[0] != 'P' || header[1] != 'E') {
    return 0;
  }
  switch (ReadLittleEndian16(header, 4)) {
    case kMachine32:
      return 32;
    case kMachine64:
      return 64;
    default:
      return 0;
  }
}

}  // namespace qivm
