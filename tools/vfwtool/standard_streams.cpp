#include "tools/vfwtool/standard_streams.h"

#ifdef _WIN32
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#endif

namespace qivm {
namespace {

#ifdef _WIN32
void MakeBinary(std::FILE* stream) { _setmode(_fileno(stream), _O_BINARY); }
#endif

}  // namespace

std::istream& BinaryInput(const ToolStreams& streams) {
#ifdef _WIN32
  MakeBinary(stdin);
#endif
  return streams.input;
}

std::ostream& BinaryOutput(const ToolStreams& streams) {
#ifdef _WIN32
  MakeBinary(stdout);
#endif
  return streams.output;
}

}  // namespace qivm
