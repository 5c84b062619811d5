#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/registry_api.h"

namespace halden {

/// Number of blocks allocated with operator new and not yet freed, on all threads.
std::int64_t LiveAllocations();

/// Makes allocations of this thread fail: operator new, and calloc called by the driver itself. `first`
/// counts from 1; 0 lets all succeed. With `and_later` every allocation after that one fails too.
void FailAllocations(int first, bool and_later = false);
/// Whether an allocation has failed since the last FailAllocations.
bool AllocationFailed();

// What faults.cpp does to this thread's calls. The three structs below set and reset these.
inline thread_local int allocation_pauses = 0;
inline thread_local bool interrupting = false;
inline thread_local std::string* file_calls = nullptr;

/// While one of these lives, no allocation of its thread fails or is counted.
struct AllocationPause {
  AllocationPause() { ++allocation_pauses; }
  ~AllocationPause() { --allocation_pauses; }
};

/// While one of these lives, every second call of write() and flock() that our code makes on this thread
/// fails with EINTR, beginning with the first.
struct Interruptions {
  Interruptions() { interrupting = true; }
  ~Interruptions() { interrupting = false; }
};

/// While one of these lives, it lists the calls of fchmod(), fsync() and rename() that our code makes on this
/// thread: "fchmod fsync rename ", say.
struct FileCallLog {
  FileCallLog() { file_calls = &calls; }
  ~FileCallLog() { file_calls = nullptr; }
  std::string calls;
};

/// Decides which calls to a FaultyPlatform go wrong, and how. All of its interfaces share one count of calls.
/// Backends may not throw, so allocations made below a call never fail.
class Faults {
 public:
  enum Kind {
    kFails,            ///< a failure; the out-parameters stay untouched
    kFailsWithCounts,  ///< a failure that sets its counts to `change` of them; counts only calls with counts
    kWritesNothing,    ///< success; the out-parameters stay untouched
    kWrongCount,       ///< success with `change` of its counts; counts only calls with counts
    kReadsHalf,        ///< a read gets half of what was asked for; counts only reads
    kLoss,             ///< a correct call, made after `set_lost(true)`
  };
  static constexpr std::int32_t kFailure = 31;  ///< the code of every failure, above FT_OK and ERROR_SUCCESS

  /// What goes wrong. The default is nothing.
  struct Plan {
    int call = 0;            ///< number of the call, from 1; 0: none
    bool and_later = false;  ///< and every later one
    Kind kind = kFails;
    std::function<std::int64_t(std::int64_t count)> change = {};
    std::function<void(bool lost)> set_lost = {};  ///< gets false before a call that goes well
  };

  /// Names of the calls since Inject, without GetQueueStatus, which the driver polls.
  std::vector<std::string> calls;
  /// While set, Trace and Make record what happens, for TakeTrace.
  bool tracing = false;
  /// Calls for which it returns true fail as well.
  std::function<bool(const std::string& call)> fails;

  /// Starts counting calls at 0 again.
  void Inject(Plan plan) {
    plan_ = std::move(plan), count_ = 0, faulty_call_.clear();
    calls.clear();
  }
  /// The first call that went wrong; empty if none did.
  const std::string& FaultyCall() const { return faulty_call_; }

  /// A handle is identified by its interface and its number.
  void Opened(const void* interface, std::int64_t handle, const std::string& call) {
    if (!open_.emplace(std::pair(interface, handle), call).second)
      misuses_.push_back(call + " gave a handle that was open");
  }
  void Closed(const void* interface, std::int64_t handle, const std::string& call) {
    if (open_.erase({interface, handle}) == 0) misuses_.push_back(call + " of a handle that wasn't open");
  }
  /// The calls whose handles are still open, after those that closed a handle that wasn't. Empty if every
  /// handle has been closed exactly once.
  std::vector<std::string> LeftOpen() const {
    std::vector<std::string> report = misuses_;
    for (const auto& [handle, call] : open_) report.push_back(call);
    return report;
  }

  /// Notes a line. Equal lines in a row become one: "pass x 2001".
  void Trace(const std::string& line) {
    const AllocationPause pause;
    if (!tracing) return;
    if (trace_.empty() || trace_.back().first != line) trace_.emplace_back(line, 0);
    ++trace_.back().second;
  }
  /// Returns the trace since the last call, and clears it.
  std::string TakeTrace() {
    std::string text;
    for (const auto& [line, times] : std::exchange(trace_, {})) {
      text += line + (times > 1 ? " x " + std::to_string(times) : "");
      const bool rests = line == "pass" || line.starts_with("GetDefault") || line.find("Close") != line.npos;
      text += rests || line.starts_with("timer") ? "\n" : ", ";
    }
    return text;
  }

  /// Makes a call, or what the plan puts in its place. Its result is a bool, a code that is 0 for success, or
  /// an object that is empty after a failure. Arguments that point to numbers are its counts.
  template <class Call, class... Arguments>
  auto Make(const char* name, Call call, const Arguments&... arguments) -> decltype(call()) {
    using Result = decltype(call());
    const AllocationPause pause;
    // Handles of keys depend on what was opened before.
    [[maybe_unused]] const bool numbers = std::string_view(name).substr(0, 3) != "Reg";
    if (tracing && IsTraced(name)) Trace((name + ... + TextOf(arguments, numbers)));
    const Kind kind = plan_.kind;
    const bool of_counts = kind == kWrongCount || kind == kFailsWithCounts;
    const bool wrong = GoesWrong(name, kind != kReadsHalf && (!of_counts || (kIsCount<Arguments> || ...)));
    if (wrong && kind == kFailsWithCounts) (Change(arguments), ...);
    if (wrong && kind <= kWritesNothing) {
      const bool succeeds = kind == kWritesNothing;
      if constexpr (std::is_same_v<Result, bool>)
        return succeeds;
      else if constexpr (std::is_arithmetic_v<Result>)
        return succeeds ? 0 : kFailure;
      else
        return Result();
    }
    Result result = call();
    if (wrong && kind == kWrongCount) (Change(arguments), ...);
    return result;
  }

  /// Whether this read is to get half of what it asks for.
  bool ReadsHalf() { return plan_.kind == kReadsHalf && GoesWrong("Read", true); }

 private:
  /// Not the device library's polled call, and no texts.
  static bool IsTraced(const std::string& name) {
    return name != "GetQueueStatus" && name != "LoadText" && name != "FormatMessageA" &&
           name != "GetSystemDefaultLangID";
  }
  /// Numbers and texts that a call passes in, the library's handles too.
  template <class Argument>
  static std::string TextOf(const Argument& argument, bool numbers) {
    if constexpr (std::is_same_v<Argument, std::string>) return " " + argument;
    if constexpr (std::is_integral_v<Argument>) return numbers ? " " + std::to_string(argument) : "";
    return "";
  }

  template <class Argument>
  static constexpr bool kIsCount =
      std::is_same_v<Argument, std::int32_t*> || std::is_same_v<Argument, std::uint32_t*> ||
      std::is_same_v<Argument, RegKeyInfo*>;

  /// Counts the call if the plan's kind `applies` to it. Of a call that is repeated without another one in
  /// between only the first three count, since the driver polls.
  bool GoesWrong(const std::string& name, bool applies) {
    constexpr int kMostRepeats = 3;
    if (name != "GetQueueStatus") calls.push_back(name);
    if (fails && fails(name)) return true;
    if (!applies) return false;
    repeats_ = name == last_ ? repeats_ + 1 : 0;
    last_ = name;
    const bool counts = repeats_ < kMostRepeats;
    count_ += counts;
    const bool wrong =
        plan_.call > 0 && ((counts && count_ == plan_.call) || (plan_.and_later && count_ >= plan_.call));
    if (wrong && faulty_call_.empty()) faulty_call_ = name;
    if (plan_.kind == kLoss && plan_.call > 0) plan_.set_lost(wrong);
    return wrong;
  }

  template <class Argument>
  void Change(Argument count) {
    if constexpr (std::is_same_v<Argument, RegKeyInfo*>)
      for (std::uint32_t RegKeyInfo::*part : {&RegKeyInfo::subkeys, &RegKeyInfo::longest_subkey,
                                              &RegKeyInfo::values, &RegKeyInfo::longest_value_name})
        Change(&(count->*part));
    else if constexpr (kIsCount<Argument>)
      if (count) *count = static_cast<std::remove_pointer_t<Argument>>(plan_.change(*count));
  }

  std::vector<std::pair<std::string, int>> trace_;  // a line, and how often it came in a row
  Plan plan_;
  int count_ = 0;
  int repeats_ = 0;
  std::string last_;
  std::string faulty_call_;
  std::map<std::pair<const void*, std::int64_t>, std::string> open_;
  std::vector<std::string> misuses_;
};

}  // namespace halden
