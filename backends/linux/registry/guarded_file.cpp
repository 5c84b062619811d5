#include "backends/linux/registry/guarded_file.h"

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

#include "platform/registry_api.h"

namespace halden {
namespace {

constexpr int kLockAttempts = 5000;
constexpr std::chrono::milliseconds kLockPause{1};

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

std::int32_t WriteResult(bool done) {
  return done ? ERROR_SUCCESS : ResultOf(errno, ERROR_WRITE_FAULT);
}

/// An open file, closed with the object.
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

/// Makes a file with this content on the disk, with the permissions of the one it will replace.
std::int32_t WriteNew(const std::string& path, std::string_view content, const struct stat* old) {
  const Descriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, old ? old->st_mode & 0777 : 0666));
  if (!file) return WriteResult(false);
  if (old && geteuid() == 0 && fchown(file.get(), old->st_uid, old->st_gid) != 0) return WriteResult(false);
  if (old && fchmod(file.get(), old->st_mode & 07777) != 0) return WriteResult(false);
  return WriteResult(WriteAll(file.get(), content) && fsync(file.get()) == 0);
}

}  // namespace

GuardedFile::Lock::~Lock() {
  if (descriptor_ >= 0) close(descriptor_);
}

GuardedFile::GuardedFile(const std::string& path) : path_(path) {
  std::error_code error;
  std::filesystem::path target = std::filesystem::absolute(path, error);
  // Also one to a file that isn't there yet.
  if (std::filesystem::is_symlink(target, error))
    target = target.parent_path() / std::filesystem::read_symlink(target, error);
  target = std::filesystem::weakly_canonical(target, error);
  if (!error) path_ = target;
}

std::int32_t GuardedFile::Read(std::string* content) const {
  content->clear();
  const Descriptor file(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return ERROR_SUCCESS;
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return ResultOf(errno, ERROR_CANTREAD);
  if (!S_ISREG(status.st_mode)) return ERROR_ACCESS_DENIED;
  return ReadAll(file.get(), content) ? ERROR_SUCCESS : ResultOf(errno, ERROR_CANTREAD);
}

std::int32_t GuardedFile::Acquire(Lock* lock) const {
  std::error_code error;
  std::filesystem::create_directories(DirectoryOf(path_), error);
  if (error) return ResultOf(error.value(), ERROR_WRITE_FAULT);
  lock->descriptor_ = open((path_ + ".lock").c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
  if (lock->descriptor_ < 0) return WriteResult(false);
  for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
    if (flock(lock->descriptor_, LOCK_EX | LOCK_NB) == 0) return ERROR_SUCCESS;
    if (errno != EWOULDBLOCK && errno != EINTR) return WriteResult(false);
    std::this_thread::sleep_for(kLockPause);
  }
  return ERROR_SHARING_VIOLATION;
}

std::int32_t GuardedFile::Replace(std::string_view content) const {
  const std::string fresh = path_ + ".new";
  struct stat old {};
  const bool exists = stat(path_.c_str(), &old) == 0;
  if (exists && access(path_.c_str(), W_OK) != 0) return WriteResult(false);
  unlink(fresh.c_str());
  std::int32_t result = WriteNew(fresh, content, exists ? &old : nullptr);
  if (!result) result = WriteResult(rename(fresh.c_str(), path_.c_str()) == 0);
  if (result) unlink(fresh.c_str());
  return result;
}

std::int32_t GuardedFile::SetAside() const {
  std::string name = path_ + ".bad";
  struct stat status {};
  for (int number = 2; lstat(name.c_str(), &status) == 0; ++number)
    name = path_ + ".bad" + std::to_string(number);
  return WriteResult(rename(path_.c_str(), name.c_str()) == 0);
}

}  // namespace halden
