#include "tools/vfwtool/base/files.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "tools/vfwtool/base/error.h"

namespace vfwtool {
namespace {

char LowerCase(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

std::string LastErrorText() { return std::generic_category().message(errno); }

bool IsRegularFile(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

}  // namespace

std::filesystem::path PathOf(const std::string& name) {
  return {std::u8string(name.begin(), name.end())};
}

std::optional<std::uint64_t> FileBytes(const std::string& name) {
  std::error_code error;
  const std::filesystem::path path = PathOf(name);
  if (!IsRegularFile(path)) {
    return std::nullopt;
  }
  const std::uintmax_t bytes = std::filesystem::file_size(path, error);
  if (error) {
    return std::nullopt;
  }
  return bytes;
}

bool AreSameFile(const std::string& a, const std::string& b) {
  if (a == kStandardStream || b == kStandardStream) {
    return false;
  }
  // An absolute path, for of a relative one only what is there becomes canonical.
  const auto canonical = [](const std::string& name) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(PathOf(name), error);
    return std::filesystem::weakly_canonical(path, error);
  };
  std::error_code error;
  return std::filesystem::equivalent(PathOf(a), PathOf(b), error) || canonical(a) == canonical(b);
}

void RequireDifferentFiles(const std::string& input, const std::string& output) {
  if (AreSameFile(input, output)) {
    RefuseUsage(output, ": is the input as well");
  }
}

bool HasExtension(std::string_view name, std::string_view extension) {
  return name.size() >= extension.size() &&
         std::ranges::equal(name.substr(name.size() - extension.size()), extension,
                            [](char a, char b) { return LowerCase(a) == LowerCase(b); });
}

std::ifstream OpenInput(const std::string& name) {
  std::ifstream file(PathOf(name), std::ios::binary);
  if (!file) {
    RefuseInput(name, "cannot be opened: ", LastErrorText());
  }
  return file;
}

Input::Input(const std::string& name, const ToolStreams& streams)
    : isStandard_(name == kStandardStream), name_(isStandard_ ? "standard input" : name) {
  if (isStandard_) {
    standard_ = &BinaryInput(streams);
  } else {
    file_ = OpenInput(name);
    bytes_ = FileBytes(name);
  }
}

Output::Output(std::string name) : name_(std::move(name)) { Open(); }

Output::Output(const std::string& name, const ToolStreams& streams) : name_(name) {
  if (name == kStandardStream) {
    name_ = "standard output";
    stream_ = &BinaryOutput(streams);
  } else {
    Open();
  }
}

void Output::Open() {
  file_.rdbuf()->pubsetbuf(nullptr, 0);
  file_.open(PathOf(name_), std::ios::binary | std::ios::trunc);
  if (!file_) {
    throw ToolError(ExitCode::kOutput, Concat(name_, ": cannot be created: ", LastErrorText()));
  }
  stream_ = &file_;
}

Output::~Output() {
  if (stream_ == &file_) {
    file_.close();
    Shorten();
  }
}

void Output::Check() {
  if (*stream_) {
    return;
  }
  const std::string reason = errno != 0 ? LastErrorText() : "the reason is not known";
  // So that what was written can still be completed.
  stream_->clear();
  if (stream_ == &file_) {
    file_.seekp(static_cast<std::streamoff>(bytes_));
  }
  throw ToolError(ExitCode::kOutput, Concat(name_, ": cannot be written: ", reason));
}

void Output::Write(std::span<const std::uint8_t> bytes) {
  errno = 0;
  stream_->write(reinterpret_cast<const char*>(bytes.data()),
                 static_cast<std::streamsize>(bytes.size()));
  Check();
  bytes_ += bytes.size();
}

void Output::Write(std::string_view text) {
  Write(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

void Output::WriteAt(std::uint64_t position, std::span<const std::uint8_t> bytes) {
  errno = 0;
  file_.seekp(static_cast<std::streamoff>(position));
  file_.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  Check();
  bytes_ = std::max(bytes_, position + bytes.size());
  file_.seekp(static_cast<std::streamoff>(bytes_));
}

void Output::Cut(std::uint64_t bytes) {
  kept_ = bytes_ = bytes;
  file_.seekp(static_cast<std::streamoff>(bytes_));
}

bool Output::TakeBack() {
  if (stream_ != &file_) {
    return false;
  }
  Cut(kept_);
  return true;
}

void Output::Close() {
  errno = 0;
  if (stream_ == &file_) {
    file_.close();
  } else {
    stream_->flush();
  }
  Check();
  const bool isFile = stream_ == &file_;
  stream_ = nullptr;
  kept_ = bytes_;
  if (isFile) {
    Shorten();
  }
}

/// Leaves of the closed file what is to be kept; a device, such as NUL, is none.
void Output::Shorten() const {
  std::error_code error;
  const std::filesystem::path path = PathOf(name_);
  if (!IsRegularFile(path)) {
    return;
  }
  if (kept_ == 0) {
    std::filesystem::remove(path, error);
  } else if (std::filesystem::file_size(path, error) > kept_) {
    std::filesystem::resize_file(path, kept_, error);
  }
}

}  // namespace vfwtool
