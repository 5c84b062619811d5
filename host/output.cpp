#include "host/output.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/printable_text.h"
#include "host/process.h"

namespace halden::host {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kBlock = 1 << 16;  // bytes

/// Bytes that a pipe takes without blocking once poll() says it is writable, and without mixing them with the
/// writes of other processes (PIPE_BUF).
constexpr std::size_t kPipePiece = 4096;

std::string WhyNot(const std::string& name, int error) {
  return Printable(name) + " could not be written: " + std::generic_category().message(error);
}

/// The whole lines within the first `most` bytes of `text`; if there are none, the first `most` bytes.
std::string_view FirstLinesWithin(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  const auto last_end = text.rfind('\n', most - 1);
  return text.substr(0, last_end == std::string_view::npos ? most : last_end + 1);
}

bool IsFile(const std::string& path) {
  std::error_code ignored;
  return fs::is_regular_file(path, ignored);
}

std::string AlreadyThere(const std::string& path) {
  return Printable(path) + " exists already; --force overwrites it";
}

}  // namespace

std::string WhyNotWritable(const std::string& path, Existing existing) {
  std::error_code ignored;
  const bool there = fs::exists(path, ignored);
  if (path.empty() || path == "-") return {};
  if (there && !IsFile(path) && !fs::is_directory(path, ignored)) return {};  // opening a pipe would block
  if (there && existing == Existing::kRefuse) return AlreadyThere(path);
  // Opening for appending leaves an existing file unchanged.
  std::FILE* const file = std::fopen(path.c_str(), "ab");
  if (!file) return WhyNot(path, errno);
  std::fclose(file);
  if (!there) fs::remove(path, ignored);
  return {};
}

Output::Output(const std::string& path, Existing existing) : path_(path) {
  block_.reserve(kBlock);
  Open(existing);
  if (!file_) return;
  std::setvbuf(file_, nullptr, _IONBF, 0);  // block_ is the only buffer
  may_block_ = ReaderMayBeSlow(file_);
}

void Output::Open(Existing existing) {
  if (path_ == "-") {
    file_ = stdout;
    return;
  }
  if (existing == Existing::kRefuse && IsFile(path_)) {
    failure_ = AlreadyThere(path_);
    return;
  }
  if (existing == Existing::kContinue && IsFile(path_)) {
    file_ = std::fopen(path_.c_str(), "r+b");
    std::error_code ignored;
    size_ = fs::file_size(path_, ignored);
    if (file_) std::fseek(file_, 0, SEEK_END);
  } else {
    file_ = std::fopen(path_.c_str(), "wb");
  }
  if (!file_) Fail();
}

Output::~Output() {
  Close();
}

void Output::Write(std::string_view text) {
  if (!file_ || !Ok()) return;
  if (block_.size() + text.size() > kBlock) Flush();
  block_ += text;
}

void Output::Flush() {
  std::size_t passed = 0;
  while (Ok() && file_ && passed < block_.size()) {
    if (may_block_ && !CanWriteWithin(file_, milliseconds(0))) break;
    std::string_view piece = std::string_view(block_).substr(passed);
    if (may_block_) piece = FirstLinesWithin(piece, kPipePiece);
    if (!Pass(piece)) break;
    passed += piece.size();
  }
  block_.erase(0, Ok() ? passed : block_.size());
}

/// Hands `piece` to the system. False if not all of it could be written.
bool Output::Pass(std::string_view piece) {
  const std::size_t written = std::fwrite(piece.data(), 1, piece.size(), file_);
  if (written < piece.size()) Fail();
  piece = piece.substr(0, written);
  size_ += written;
  part_line_ += written;
  // find() steps over whole lines; looking at each byte took a tenth of the time of a conversion.
  for (std::size_t end; (end = piece.find('\n')) != std::string_view::npos; ++lines_) {
    piece.remove_prefix(end + 1);
    part_line_ = piece.size();
  }
  return Ok();
}

void Output::Sync() {
  if (Ok() && file_ && !SyncFile(file_)) Fail();
}

void Output::RewriteStart(std::string_view bytes) {
  Flush();
  if (!Ok() || !file_) return;
  const bool written = std::fseek(file_, 0, SEEK_SET) == 0 &&
                       std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size() &&
                       std::fseek(file_, 0, SEEK_END) == 0;
  if (!written) Fail();
}

/// Pipes and terminals can't be cut.
void Output::CutToWholeLine() {
  if (file_ && !may_block_ && part_line_ > 0 && CutFile(file_, part_line_))
    size_ -= std::exchange(part_line_, 0);
}

void Output::Close(milliseconds patience) {
  Flush();
  if (Waiting() && file_) WaitForReader(patience);
  std::FILE* const file = std::exchange(file_, nullptr);
  if (file && file != stdout && std::fclose(file) != 0 && Ok()) Fail();
}

/// Patience is counted from the last time the reader took something, so a slow reader isn't given up. After a
/// stop signal it gets half a second in total.
void Output::WaitForReader(milliseconds patience) {
  constexpr milliseconds kAfterStop(500);
  auto taken = steady_clock::now();  // when the reader last took something
  while (Waiting() && Ok()) {
    const auto allowed = StopRequested() ? kAfterStop : patience;
    const auto waited = steady_clock::now() - taken;
    if (allowed != kForever && waited >= allowed) {
      failure_ = Name() + " could not be written: its reader takes nothing";
      block_.clear();
      return;
    }
    if (!CanWriteWithin(file_, milliseconds(50))) continue;
    const std::size_t before = block_.size();
    Flush();
    if (block_.size() < before && !StopRequested()) taken = steady_clock::now();
  }
}

void Output::Fail() {
  // ReaderHasLeft reads errno, so this must come first after the failed call.
  closed_pipe_ = ReaderHasLeft() && file_ == stdout;
  if (!closed_pipe_) failure_ = WhyNot(Name(), errno);
}

}  // namespace halden::host
