#include "backends/linux/registry/file_registry.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "backends/registry/registry_text.h"

namespace halden {
namespace {

constexpr std::chrono::milliseconds kLockPause{1};
/// The calls of one save follow each other immediately. A call after a pause of this length belongs to
/// another save.
constexpr std::chrono::milliseconds kPauseBetweenSaves{1000};
/// A process that has held the lock for the longest wait has probably hung. For this time calls don't wait
/// for it again; they only try the lock.
constexpr std::chrono::seconds kPauseAfterTimeout{60};

constexpr char kNotRead[] = "the registry can't be read";
constexpr char kNotStored[] = "settings could not be stored";

/// The Win32 result for a value of `errno`; `otherwise` for one that has no counterpart.
std::int32_t ResultOf(int error, std::int32_t otherwise) {
  switch (error) {
    case 0:
      return ERROR_SUCCESS;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ENOTDIR:
    case EEXIST:
    case ENOENT:
    case ELOOP:
      return ERROR_ACCESS_DENIED;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ERROR_DISK_FULL;
    default:
      return otherwise;
  }
}

/// A failure of a system call on `path`; `otherwise` is the code for errors without a counterpart.
FileResult Failure(const std::string& path, int error, std::int32_t otherwise = ERROR_WRITE_FAULT) {
  return {ResultOf(error, otherwise), path + ": " + std::generic_category().message(error)};
}

/// The result of a system call for writing to `path` that has just succeeded or failed.
FileResult WriteResult(const std::string& path, bool done) {
  return done ? FileResult() : Failure(path, errno);
}

/// Fails unless the descriptor is a regular file: reading a pipe would wait for its writer.
FileResult DemandRegular(const std::string& path, int descriptor, struct stat* status) {
  if (fstat(descriptor, status) != 0) return Failure(path, errno, ERROR_CANTREAD);
  if (S_ISREG(status->st_mode)) return {};
  return {ERROR_ACCESS_DENIED, path + ": not a regular file"};
}

/// Closes a file descriptor on destruction.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

bool ReadAll(int descriptor, std::string* content) {
  char part[4096];
  for (;;) {
    const ssize_t count = read(descriptor, part, sizeof part);
    if (count == 0) return true;
    if (count > 0) content->append(part, static_cast<std::size_t>(count));
    if (count < 0 && errno != EINTR) return false;
  }
}

bool WriteAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = write(descriptor, content.data(), content.size());
    if (count > 0) content.remove_prefix(static_cast<std::size_t>(count));
    if (count < 0 && errno != EINTR) return false;
  }
  return true;
}

constexpr std::int64_t kNanoseconds = 1'000'000'000;

std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * kNanoseconds + time.tv_nsec;
}

/// nullopt for a file changed within the last 0.1 s (or with a time in the future): file times advance in
/// steps of some milliseconds, so another change might leave the time, and the version, the same.
std::optional<FileVersion> VersionOf(const struct stat& status) {
  constexpr std::int64_t kMoment = kNanoseconds / 10;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t changed = Nanoseconds(status.st_ctim);
  if (Nanoseconds(now) - changed < kMoment) return std::nullopt;
  return FileVersion{status.st_dev, status.st_ino, status.st_size, changed};
}

std::string DirectoryOf(const std::string& path) {
  const std::string directory = std::filesystem::path(path).parent_path();
  return directory.empty() ? "." : directory;
}

/// Creates the file `path` with `content` and flushes it to the disk. If `old` isn't null, the file gets the
/// owner and permissions of `old`, which it is about to replace.
FileResult WriteNew(const std::string& path, std::string_view content, const struct stat* old) {
  const Descriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, old ? old->st_mode & 0777 : 0666));
  if (!file) return Failure(path, errno);
  if (old && geteuid() == 0 && fchown(file.get(), old->st_uid, old->st_gid) != 0) return Failure(path, errno);
  // open() applied the umask, and fchown() may have cleared bits.
  if (old && fchmod(file.get(), old->st_mode & 07777) != 0) return Failure(path, errno);
  // Without fsync, the rename could reach the disk before the content, and a power cut leave an empty file.
  return WriteResult(path, WriteAll(file.get(), content) && fsync(file.get()) == 0);
}

}  // namespace

AtomicFile::Lock::~Lock() {
  if (fd_ >= 0) close(fd_);
}

AtomicFile::AtomicFile(const std::string& path) : path_(path) {
  std::error_code error;
  std::filesystem::path target = std::filesystem::absolute(path, error);
  // weakly_canonical doesn't follow a link whose target doesn't exist yet.
  if (std::filesystem::is_symlink(target, error))
    target = target.parent_path() / std::filesystem::read_symlink(target, error);
  target = std::filesystem::weakly_canonical(target, error);
  if (!error) path_ = target;
}

FileResult AtomicFile::Read(std::optional<FileVersion>* version, std::optional<std::string>* content) const {
  struct stat status {};
  content->reset();
  if (*version && stat(path_.c_str(), &status) == 0 && VersionOf(status) == *version) return {};
  version->reset();
  // O_NONBLOCK, because opening a named pipe would wait for a writer.
  const Descriptor file(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && errno != ENOENT) return Failure(path_, errno, ERROR_CANTREAD);
  std::string text;
  if (file) {
    if (FileResult result = DemandRegular(path_, file.get(), &status); result.failed()) return result;
    if (!ReadAll(file.get(), &text)) return Failure(path_, errno, ERROR_CANTREAD);
    // The version as it was before reading. A change made in the meantime is then noticed by the next call.
    *version = VersionOf(status);
  }
  *content = std::move(text);
  return {};
}

FileResult AtomicFile::Acquire(std::chrono::milliseconds at_most, Lock* lock) const {
  const auto deadline = std::chrono::steady_clock::now() + at_most;
  std::error_code error;
  std::filesystem::create_directories(DirectoryOf(path_), error);
  if (error) return Failure(DirectoryOf(path_), error.value());
  const std::string path = path_ + ".lock";
  // Neither a dangling link nor a pipe that somebody has put there may be followed or waited for.
  lock->fd_ = open(path.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  if (lock->fd_ < 0) return Failure(path, errno);
  struct stat status {};
  if (FileResult result = DemandRegular(path, lock->fd_, &status); result.failed()) return result;
  while (flock(lock->fd_, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) return Failure(path, errno);
    if (std::chrono::steady_clock::now() >= deadline)
      return {ERROR_SHARING_VIOLATION, path + ": locked by another program"};
    std::this_thread::sleep_for(kLockPause);
  }
  return {};
}

FileResult AtomicFile::Replace(std::string_view content) const {
  const std::string fresh = path_ + ".new";
  struct stat old {};
  const bool exists = stat(path_.c_str(), &old) == 0;
  if (exists && access(path_.c_str(), W_OK) != 0) return Failure(path_, errno);
  unlink(fresh.c_str());  // left over from a process that was killed within this call
  FileResult result = WriteNew(fresh, content, exists ? &old : nullptr);
  if (!result.failed()) result = WriteResult(path_, rename(fresh.c_str(), path_.c_str()) == 0);
  if (result.failed()) unlink(fresh.c_str());
  return result;
}

FileResult AtomicFile::SetAside(std::string* name) const {
  *name = path_ + ".bad";
  struct stat status {};
  for (int number = 2; lstat(name->c_str(), &status) == 0; ++number)
    *name = path_ + ".bad" + std::to_string(number);
  return WriteResult(path_, rename(path_.c_str(), name->c_str()) == 0);
}

std::vector<std::string> FileRegistry::TakeNotices() {
  return std::exchange(notices_, {});
}

std::int32_t FileRegistry::Read(const Operation& operation) {
  const FileResult result = Refresh();
  return result.failed() ? Report(kNotRead, result) : operation(tree_);
}

/// The operation is tried on a copy first: one that fails or changes nothing needs no lock and no directory.
std::int32_t FileRegistry::Change(const Operation& operation) {
  const FileResult found = Refresh();
  if (found.code == ERROR_BADDB) return Store(operation);
  if (found.failed()) return Report(kNotRead, found);
  RegistryTree changed = tree_;
  const std::int32_t result = operation(changed);
  return result || changed == tree_ ? result : Store(operation);
}

/// Brings `tree_` up to date with the file. On bad_alloc nothing has changed.
FileResult FileRegistry::Refresh() {
  std::optional<FileVersion> version = version_;
  std::optional<std::string> text;
  if (FileResult result = file_.Read(&version, &text); result.failed()) return result;
  if (text && *text != text_) {
    std::optional<RegistryTree> tree = ParseRegistryText(*text);
    damaged_ = !tree;
    text_ = std::move(*text);
    tree_ = tree ? std::move(*tree) : RegistryTree();
  }
  version_ = version;
  if (damaged_) return {ERROR_BADDB, file_.path() + ": damaged, or not a registry file"};
  return {};
}

/// Runs the operation under the lock, on the file's content at that moment: another process may have written
/// it since the caller read it.
std::int32_t FileRegistry::Store(const Operation& operation) {
  AtomicFile::Lock lock;
  FileResult found = Acquire(&lock);
  version_.reset();  // force a read: a network file system may report an old version for some seconds
  if (!found.failed()) found = Refresh();
  if (found.code == ERROR_BADDB) found = SetAside();
  if (found.failed()) return Report(kNotStored, found);
  RegistryTree changed = tree_;
  const std::int32_t result = operation(changed);
  if (result || changed == tree_) return result;
  std::string text = FormatRegistryText(changed);
  if (const FileResult stored = file_.Replace(text); stored.failed()) return Report(kNotStored, stored);
  version_.reset();
  text_ = std::move(text);
  tree_ = std::move(changed);
  known_failures_.clear();
  return ERROR_SUCCESS;
}

/// Takes the lock, waiting at most as long as this save may still wait.
FileResult FileRegistry::Acquire(AtomicFile::Lock* lock) {
  using std::chrono::milliseconds;
  const Time start = std::chrono::steady_clock::now();
  if (start >= renew_wait_at_) wait_left_ = longest_wait_;
  const bool waits = wait_left_ > milliseconds(0);
  FileResult result = file_.Acquire(wait_left_, lock);
  const Time end = std::chrono::steady_clock::now();
  wait_left_ -= std::min(wait_left_, std::chrono::duration_cast<milliseconds>(end - start));
  if (result.code != ERROR_SHARING_VIOLATION) {
    renew_wait_at_ = end + kPauseBetweenSaves;
  } else if (waits) {
    wait_left_ = milliseconds(0);
    renew_wait_at_ = end + kPauseAfterTimeout;
  }
  return result;
}

/// Renames a damaged file and continues with an empty registry. Needs the lock.
FileResult FileRegistry::SetAside() {
  std::string name;
  FileResult result = file_.SetAside(&name);
  if (result.failed()) return result;
  version_.reset();
  text_.clear();
  damaged_ = false;
  // Earlier notices that this file can't be read are out of date.
  std::erase_if(notices_, [](const std::string& notice) { return notice.starts_with(kNotRead); });
  notices_.push_back("the registry file " + file_.path() +
                     " is damaged, or not a registry file; it is kept as " + name);
  return {};
}

/// Adds a notice of the failure unless it was reported before. Returns the failure's code.
std::int32_t FileRegistry::Report(const char* what, const FileResult& result) {
  const std::string notice = std::string(what) + ": " + result.reason;
  if (std::find(known_failures_.begin(), known_failures_.end(), notice) == known_failures_.end()) {
    known_failures_.push_back(notice);
    notices_.push_back(notice);
  }
  return result.code;
}

std::string DefaultRegistryFile(const std::function<const char*(const char*)>& environment) {
  const std::string name = "halden-text/registry.reg";
  const char* config = environment("XDG_CONFIG_HOME");
  if (config && config[0] == '/') return std::string(config) + "/" + name;
  const char* home = environment("HOME");
  return std::string(home ? home : "") + "/.config/" + name;
}

}  // namespace halden
