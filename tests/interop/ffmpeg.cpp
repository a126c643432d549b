#include "tests/interop/ffmpeg.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace qivm::interop {

namespace {

/// A directory that lives as long as the object.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "qivm-interop-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make a directory " + name + ": " + std::strerror(errno));
    }
    path_ = name;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string File(const char* name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

Bytes ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + name);
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& name, const Bytes& content) {
  std::ofstream file(name, std::ios::binary);
  file.write(reinterpret_cast<const char*>(content.data()),
             static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    throw std::runtime_error("cannot write " + name);
  }
}

/// Runs a program found on the PATH with its standard streams on files; its exit code, or 128 plus
/// the signal that ended it.
int Run(const Arguments& commandLine, const std::array<std::string, 3>& streams) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, streams[0].c_str(), O_RDONLY, 0);
  for (const int stream : {1, 2}) {
    posix_spawn_file_actions_addopen(&actions, stream,
                                     streams[static_cast<std::size_t>(stream)].c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
  }
  std::vector<std::string> words = commandLine;
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);
  pid_t process = 0;
  const int error =
      posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::runtime_error("cannot start " + words[0] + " (is the Debian package '" + words[0] +
                             "' installed?): " + std::strerror(error));
  }
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) {
      throw std::runtime_error("cannot wait for " + words[0] + ": " + std::strerror(errno));
    }
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string Joined(const Arguments& words) {
  std::string text;
  for (const std::string& word : words) {
    text += text.empty() ? word : " " + word;
  }
  return text;
}

/// A filter graph as an input.
Arguments Source(const std::string& graph, int frames) {
  return {"-f", "lavfi", "-i", graph, "-frames:v", std::to_string(frames)};
}

}  // namespace

Arguments operator+(Arguments first, const Arguments& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

FfmpegOutput RunFfmpeg(const Arguments& arguments, const Bytes& input) {
  const ScratchDirectory directory;
  const std::array<std::string, 3> streams = {directory.File("input"), directory.File("output"),
                                              directory.File("messages")};
  WriteFile(streams[0], input);
  const Arguments commandLine =
      Arguments{"ffmpeg", "-hide_banner", "-nostdin", "-v", "warning"} + arguments;
  const int exitCode = Run(commandLine, streams);
  const Bytes messages = ReadFile(streams[2]);
  FfmpegOutput output = {ReadFile(streams[1]), std::string(messages.begin(), messages.end())};
  if (exitCode != 0) {
    throw std::runtime_error("'" + Joined(commandLine) + "' ended with " +
                             std::to_string(exitCode) + ":\n" + output.messages);
  }
  return output;
}

Bytes EncodeWithFfmpeg(const std::string& graph, int frames, const Arguments& options) {
  const Arguments codec = {"-c:v", "mpeg2video", "-pix_fmt",   "yuv422p",
                           "-g",   "1",          "-intra_vlc", "1"};
  const Arguments output = {"-f", "mpeg2video", "pipe:1"};
  return RunFfmpeg(Source(graph, frames) + codec + options + output).data;
}

Bytes GenerateWithFfmpeg(const std::string& graph, int frames, const std::string& pixelFormat) {
  const Arguments output = {"-f", "rawvideo", "-pix_fmt", pixelFormat, "pipe:1"};
  return RunFfmpeg(Source(graph, frames) + output).data;
}

std::string GraphOfSize(std::string graph, Size size) {
  constexpr std::string_view kPlace = "SIZE";
  const std::string text = std::to_string(size.width) + "x" + std::to_string(size.height);
  for (std::size_t at = graph.find(kPlace); at != std::string::npos; at = graph.find(kPlace)) {
    graph.replace(at, kPlace.size(), text);
  }
  return graph;
}

FfmpegOutput DecodeWithFfmpeg(const Bytes& stream) {
  // One thread: of small pictures ffmpeg warns that it has fewer slices than threads.
  return RunFfmpeg({"-threads", "1", "-f", "mpegvideo", "-i", "pipe:0", "-fps_mode", "passthrough",
                    "-f", "rawvideo", "-pix_fmt", "yuv422p", "pipe:1"},
                   stream);
}

}  // namespace qivm::interop
