#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/registry_api.h"
#include "tests/allocations.h"

namespace halden {

/// Says which calls over the seams go wrong, and how. All seams share one count of calls. Lack of memory that
/// a test brings about never reaches the backends, which may not throw.
class Faults {
 public:
  enum Kind {
    kFails,    ///< a failure, with the out-values untouched
    kGarbles,  ///< a failure, with what `lie` makes of the counts in them; only calls with counts are counted
    kSilent,   ///< success, with the out-values untouched
    kLies,     ///< the counts of a call are what `lie` makes of them; only calls with counts are counted
    kShort,    ///< half of what was asked for; only reads are counted
    kGone,     ///< `gone` has happened just before
  };
  static constexpr std::int32_t kFailure = 31;

  /// Those made, but for GetQueueStatus, which is asked without end.
  std::vector<std::string> calls;
  /// A call that it says true of fails as well.
  std::function<bool(const std::string& call)> fails;
  /// What becomes of a count.
  using Liar = std::function<std::int64_t(std::int64_t count)>;
  /// Told true when a call goes wrong, false before the next call that doesn't.
  std::function<void(bool)> gone;

  /// Counts from 0 again: the call number `first`, from 1, goes wrong, and with `all` those behind it. 0:
  /// none.
  void Arm(int first, bool all = false, Kind kind = kFails, const Liar& lie = {}) {
    first_ = first, all_ = all, kind_ = kind, lie_ = lie, count_ = 0, struck_.clear();
    calls.clear();
  }
  /// The call that went wrong first; empty: none.
  const std::string& Struck() const { return struck_; }

  void Opened(char seam, std::int64_t handle) { wrong_closes_ += !open_.emplace(seam, handle).second; }
  void Closed(char seam, std::int64_t handle) { wrong_closes_ += open_.erase({seam, handle}) != 1; }
  std::size_t OpenHandles() const { return open_.size(); }
  /// Each handle that was opened has been closed, once, and no other.
  bool AllClosed() const { return open_.empty() && wrong_closes_ == 0; }

  /// Makes a call, or doesn't. Its result is a bool, a code that is 0 for success, or what a failure leaves
  /// empty. Those of its arguments that point to numbers are its counts.
  template <class Call, class... Arguments>
  auto Pass(const char* name, Call call, const Arguments&... arguments) -> decltype(call()) {
    using Result = decltype(call());
    const AllocationPause pause;
    const bool of_counts = kind_ == kLies || kind_ == kGarbles;
    const bool strikes = Strikes(name, kind_ != kShort && (!of_counts || (kIsCount<Arguments> || ...)));
    if (strikes && kind_ == kGarbles) (Lie(arguments), ...);
    if (strikes && kind_ <= kSilent) {
      const bool well = kind_ == kSilent;
      if constexpr (std::is_same_v<Result, bool>)
        return well;
      else if constexpr (std::is_arithmetic_v<Result>)
        return well ? 0 : kFailure;
      else
        return Result();
    }
    Result result = call();
    if (strikes && kind_ == kLies) (Lie(arguments), ...);
    return result;
  }

  /// Counts a call if the kind `applies` to it, and says whether it goes wrong. Of the same call again and
  /// again only the first ones count.
  bool Strikes(const std::string& name, bool applies) {
    constexpr int kEnough = 3;
    if (name != "GetQueueStatus") calls.push_back(name);
    if (fails && fails(name)) return true;
    if (!applies) return false;
    repeats_ = name == last_ ? repeats_ + 1 : 0;
    last_ = name;
    const bool counts = repeats_ < kEnough;
    count_ += counts;
    const bool strikes = first_ > 0 && ((counts && count_ == first_) || (all_ && count_ >= first_));
    if (strikes && struck_.empty()) struck_ = name;
    if (kind_ == kGone && gone && first_ > 0) gone(strikes);
    return strikes;
  }
  Kind kind() const { return kind_; }

 private:
  template <class Argument>
  static constexpr bool kIsCount =
      std::is_same_v<Argument, std::int32_t*> || std::is_same_v<Argument, std::uint32_t*> ||
      std::is_same_v<Argument, RegKeyInfo*>;

  template <class Argument>
  void Lie(Argument count) {
    if constexpr (std::is_same_v<Argument, RegKeyInfo*>)
      for (std::uint32_t RegKeyInfo::*part : {&RegKeyInfo::subkeys, &RegKeyInfo::longest_subkey,
                                              &RegKeyInfo::values, &RegKeyInfo::longest_value_name})
        Lie(&(count->*part));
    else if constexpr (kIsCount<Argument>)
      if (count) *count = static_cast<std::remove_pointer_t<Argument>>(lie_(*count));
  }

  int first_ = 0;
  bool all_ = false;
  Kind kind_ = kFails;
  Liar lie_;
  int count_ = 0;
  int repeats_ = 0;
  std::string last_;
  std::string struck_;
  std::set<std::pair<char, std::int64_t>> open_;
  int wrong_closes_ = 0;
};

}  // namespace halden
