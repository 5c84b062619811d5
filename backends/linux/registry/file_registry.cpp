#include "backends/linux/registry/file_registry.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "backends/registry/registry_text.h"

namespace halden {
namespace {

constexpr int kLockAttempts = 5000;
constexpr std::chrono::milliseconds kLockPause{1};

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

/// The result of a system call for writing that has just succeeded or failed.
std::int32_t WriteResult(bool done) {
  return done ? ERROR_SUCCESS : ResultOf(errno, ERROR_WRITE_FAULT);
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

std::string DirectoryOf(const std::string& path) {
  const std::string directory = std::filesystem::path(path).parent_path();
  return directory.empty() ? "." : directory;
}

/// Creates the file `path` and brings `content` to the disk. It gets the owner and the permissions of `old`,
/// the file that it is going to replace, if there is one.
std::int32_t WriteNew(const std::string& path, std::string_view content, const struct stat* old) {
  const Descriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, old ? old->st_mode & 0777 : 0666));
  if (!file) return WriteResult(false);
  if (old && geteuid() == 0 && fchown(file.get(), old->st_uid, old->st_gid) != 0) return WriteResult(false);
  // The umask has cut what open() was asked for, and fchown() may have dropped bits.
  if (old && fchmod(file.get(), old->st_mode & 07777) != 0) return WriteResult(false);
  // Without fsync, the rename could reach the disk before the content, and a power cut leave an empty file.
  return WriteResult(WriteAll(file.get(), content) && fsync(file.get()) == 0);
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

std::int32_t AtomicFile::Read(std::string* content) const {
  content->clear();
  // O_NONBLOCK, because opening a named pipe would wait for a writer.
  const Descriptor file(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return ERROR_SUCCESS;
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return ResultOf(errno, ERROR_CANTREAD);
  if (!S_ISREG(status.st_mode)) return ERROR_ACCESS_DENIED;
  return ReadAll(file.get(), content) ? ERROR_SUCCESS : ResultOf(errno, ERROR_CANTREAD);
}

std::int32_t AtomicFile::Acquire(Lock* lock) const {
  std::error_code error;
  std::filesystem::create_directories(DirectoryOf(path_), error);
  if (error) return ResultOf(error.value(), ERROR_WRITE_FAULT);
  lock->fd_ = open((path_ + ".lock").c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
  if (lock->fd_ < 0) return WriteResult(false);
  for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
    if (flock(lock->fd_, LOCK_EX | LOCK_NB) == 0) return ERROR_SUCCESS;
    if (errno != EWOULDBLOCK && errno != EINTR) return WriteResult(false);
    std::this_thread::sleep_for(kLockPause);
  }
  return ERROR_SHARING_VIOLATION;
}

std::int32_t AtomicFile::Replace(std::string_view content) const {
  const std::string fresh = path_ + ".new";
  struct stat old {};
  const bool exists = stat(path_.c_str(), &old) == 0;
  if (exists && access(path_.c_str(), W_OK) != 0) return WriteResult(false);
  unlink(fresh.c_str());  // left over from a process that was killed within this call
  std::int32_t result = WriteNew(fresh, content, exists ? &old : nullptr);
  if (!result) result = WriteResult(rename(fresh.c_str(), path_.c_str()) == 0);
  if (result) unlink(fresh.c_str());
  return result;
}

std::int32_t AtomicFile::SetAside() const {
  std::string name = path_ + ".bad";
  struct stat status {};
  for (int number = 2; lstat(name.c_str(), &status) == 0; ++number)
    name = path_ + ".bad" + std::to_string(number);
  return WriteResult(rename(path_.c_str(), name.c_str()) == 0);
}

std::int32_t FileRegistry::Read(const Operation& operation) {
  const std::int32_t result = Refresh();
  return result ? result : operation(tree_);
}

/// The operation is tried on a copy first: one that fails or changes nothing needs no lock and no directory.
std::int32_t FileRegistry::Change(const Operation& operation) {
  std::int32_t result = Refresh();
  if (result == ERROR_BADDB) return SetAsideUnreadable();
  if (result) return result;
  RegistryTree changed = tree_;
  result = operation(changed);
  return result || changed == tree_ ? result : Store(operation);
}

/// Brings `tree_` up to date with the file.
std::int32_t FileRegistry::Refresh() {
  std::string text;
  if (const std::int32_t result = file_.Read(&text)) return result;
  if (text == text_) return ERROR_SUCCESS;
  std::optional<RegistryTree> tree = ParseRegistryText(text);
  if (!tree) return ERROR_BADDB;
  text_ = std::move(text);
  tree_ = std::move(*tree);
  return ERROR_SUCCESS;
}

/// Carries the operation out under the lock, on what the file holds by then: another process may have written
/// since the caller looked.
std::int32_t FileRegistry::Store(const Operation& operation) {
  AtomicFile::Lock lock;
  std::int32_t result = file_.Acquire(&lock);
  if (!result) result = Refresh();
  if (result) return result;
  RegistryTree changed = tree_;
  result = operation(changed);
  if (result || changed == tree_) return result;
  std::string text = FormatRegistryText(changed);
  result = file_.Replace(text);
  if (result) return result;
  text_ = std::move(text);
  tree_ = std::move(changed);
  return ERROR_SUCCESS;
}

std::int32_t FileRegistry::SetAsideUnreadable() {
  AtomicFile::Lock lock;
  std::int32_t result = file_.Acquire(&lock);
  if (!result) result = Refresh();
  if (result != ERROR_BADDB) return result ? result : ERROR_BADDB;
  result = file_.SetAside();
  return result ? result : ERROR_BADDB;
}

std::string DefaultRegistryFile(const std::function<const char*(const char*)>& environment) {
  const std::string name = "halden-text/registry.reg";
  const char* config = environment("XDG_CONFIG_HOME");
  if (config && config[0] == '/') return std::string(config) + "/" + name;
  const char* home = environment("HOME");
  return std::string(home ? home : "") + "/.config/" + name;
}

}  // namespace halden
