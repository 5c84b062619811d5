#include "host/output.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "host/process.h"

namespace halden::host {
namespace {

constexpr std::size_t kBlock = 1 << 16;  // bytes

}  // namespace

Output::Output(const std::string& path)
    : path_(path), file_(path == "-" ? stdout : std::fopen(path.c_str(), "wb")) {
  block_.reserve(kBlock);
  if (file_) {
    std::setvbuf(file_, nullptr, _IONBF, 0);  // block_ is the only buffer
  } else {
    Fail();
  }
}

Output::~Output() {
  Close();
}

void Output::Write(std::string_view text) {
  if (!file_) return;
  if (block_.size() + text.size() > kBlock) Flush();
  block_ += text;
}

void Output::Flush() {
  if (Ok() && file_ && std::fwrite(block_.data(), 1, block_.size(), file_) < block_.size()) Fail();
  block_.clear();
}

void Output::RewriteStart(std::string_view bytes) {
  Flush();
  if (!Ok() || !file_) return;
  const bool written = std::fseek(file_, 0, SEEK_SET) == 0 &&
                       std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size() &&
                       std::fseek(file_, 0, SEEK_END) == 0;
  if (!written) Fail();
}

void Output::Close() {
  Flush();
  std::FILE* const file = std::exchange(file_, nullptr);
  if (file && file != stdout && std::fclose(file) != 0 && Ok()) Fail();
}

void Output::Fail() {
  // Looks at errno, so nothing may come between the failed call and this.
  closed_pipe_ = ReaderHasLeft() && file_ == stdout;
  if (closed_pipe_) return;
  failure_ = (path_ == "-" ? "standard output" : path_) +
             " could not be written: " + std::generic_category().message(errno);
}

}  // namespace halden::host
