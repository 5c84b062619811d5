#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/channels.h"
#include "host/trace.h"

namespace halden::host {

/// The frames of a recording for any number of clients, as server-sent events. Add, Send and End belong to
/// the driver's thread, which is never held up: each client has a queue that loses its oldest blocks when it
/// is full. All other calls may come from any thread.
///
/// Frames are reduced to what a screen can show: the lowest and the highest value of each column in every
/// kBinSeconds, so that a spike stays visible.
class LiveFeed {
 public:
  static constexpr double kBinSeconds = 1.0 / 160;
  static constexpr std::size_t kMostBlocks = 200;  ///< that wait for a client, 10 s of them
  static constexpr std::chrono::milliseconds kPace{50};

  /// The queue of a client. Dropping the pointer leaves the feed.
  class Client {
   public:
    /// Waits for blocks and returns all that wait, as the text of events; "" after `timeout`; nullopt once
    /// the feed has ended and everything was returned.
    std::optional<std::string> Next(std::chrono::milliseconds timeout);

   private:
    friend class LiveFeed;
    struct Block {
      std::shared_ptr<const std::string> text;
      std::size_t frames = 0;
    };
    void Push(const Block& block);
    void End();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Block> blocks_;
    std::uint64_t lost_ = 0;  ///< frames of the blocks that were dropped
    bool lost_is_new_ = false;
    bool ended_ = false;
  };

  /// `device` names the device for the user.
  LiveFeed(std::string device, std::vector<Column> columns);

  void Add(const Frames& frames);
  /// Passes what was added to the clients, at most once in kPace. `line` is the last line as received, `rate`
  /// the rate for the user; both UTF-8.
  void Send(const std::string& line, const std::string& rate);
  /// The recording is over.
  void End();

  std::shared_ptr<Client> Join();
  /// The first event of a client: device and columns.
  std::string Hello() const;
  /// The last values as a JSON object in one line.
  std::string Latest() const;

 private:
  std::string Block() const;
  std::string Value(std::size_t column, std::int16_t code) const;

  const std::string device_;
  const std::vector<Column> columns_;

  // The driver's thread: the bins since the last Send, and in `low_` and `high_` one code per bin and column.
  std::vector<double> bin_times_;
  std::vector<std::int16_t> low_, high_;
  std::int64_t last_slot_ = -1;  // of the time, in kBinSeconds
  std::size_t frames_ = 0;
  std::vector<std::int16_t> last_frame_;
  double last_time_ = 0;
  std::chrono::steady_clock::time_point last_send_ = {};

  // All threads, under mutex_.
  mutable std::mutex mutex_;
  std::vector<std::weak_ptr<Client>> clients_;
  std::vector<std::int16_t> latest_;  // empty: no frame yet
  double latest_time_ = 0;
  std::chrono::steady_clock::time_point latest_at_ = {};
  std::string line_, rate_;
  bool ended_ = false;
};

}  // namespace halden::host
