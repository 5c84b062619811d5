#include "host/web/live_feed.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <span>
#include <utility>

#include "host/decimal_text.h"

namespace halden::host {
namespace {

std::string Text(const nlohmann::ordered_json& json) {
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

/// Codes at the ends of their range, where the driver limits values that are outside it.
bool IsSaturated(std::int16_t code) {
  return code == std::numeric_limits<std::int16_t>::min() || code == std::numeric_limits<std::int16_t>::max();
}

}  // namespace

void LiveFeed::Client::Push(const Block& block) {
  const std::scoped_lock lock(mutex_);
  if (blocks_.size() == kMostBlocks) {
    lost_ += blocks_.front().frames;
    lost_is_new_ = true;
    blocks_.pop_front();
  }
  blocks_.push_back(block);
  changed_.notify_one();
}

void LiveFeed::Client::End() {
  const std::scoped_lock lock(mutex_);
  ended_ = true;
  changed_.notify_one();
}

std::optional<std::string> LiveFeed::Client::Next(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, timeout, [this] { return !blocks_.empty() || ended_; });
  if (blocks_.empty() && ended_) return std::nullopt;
  std::string events;
  if (std::exchange(lost_is_new_, false)) events = "event: lost\ndata: " + std::to_string(lost_) + "\n\n";
  for (const Block& block : blocks_) events += *block.text;
  blocks_.clear();
  return events;
}

LiveFeed::LiveFeed(std::string device, std::vector<Column> columns)
    : device_(std::move(device)), columns_(std::move(columns)), last_frame_(columns_.size()) {}

void LiveFeed::Add(const Frames& frames) {
  const std::size_t width = columns_.size();
  for (std::size_t i = 0; i < frames.times.size(); ++i) {
    const std::int16_t* const frame = &frames.codes[i * width];
    const double time = frames.times[i];
    const auto slot = static_cast<std::int64_t>(std::floor(time / kBinSeconds));
    if (bin_times_.empty() || slot != last_slot_) {
      last_slot_ = slot;
      bin_times_.push_back(time);
      low_.insert(low_.end(), frame, frame + width);
      high_.insert(high_.end(), frame, frame + width);
      continue;
    }
    std::int16_t* const low = &low_[low_.size() - width];
    std::int16_t* const high = &high_[high_.size() - width];
    for (std::size_t column = 0; column < width; ++column) {
      low[column] = std::min(low[column], frame[column]);
      high[column] = std::max(high[column], frame[column]);
    }
  }
  if (frames.times.empty()) return;
  frames_ += frames.times.size();
  last_time_ = frames.times.back();
  std::copy_n(&frames.codes[(frames.times.size() - 1) * width], width, last_frame_.begin());
}

void LiveFeed::Send(const std::string& line, const std::string& rate) {
  const auto now = std::chrono::steady_clock::now();
  if (bin_times_.empty() || now - last_send_ < kPace) return;
  last_send_ = now;
  const std::scoped_lock lock(mutex_);
  latest_ = last_frame_;
  latest_time_ = last_time_;
  latest_at_ = now;
  line_ = line;
  rate_ = rate;
  std::erase_if(clients_, [](const auto& client) { return client.expired(); });
  if (!clients_.empty()) {
    const Client::Block block{std::make_shared<const std::string>(Block()), frames_};
    for (const auto& listed : clients_)
      if (const auto client = listed.lock()) client->Push(block);
  }
  bin_times_.clear();
  low_.clear();
  high_.clear();
  frames_ = 0;
}

void LiveFeed::End() {
  const std::scoped_lock lock(mutex_);
  ended_ = true;
  for (const auto& listed : clients_)
    if (const auto client = listed.lock()) client->End();
}

std::shared_ptr<LiveFeed::Client> LiveFeed::Join() {
  auto client = std::make_shared<Client>();
  const std::scoped_lock lock(mutex_);
  clients_.push_back(client);
  if (ended_) client->End();
  return client;
}

std::string LiveFeed::Value(std::size_t column, std::int16_t code) const {
  char text[kValueRoom];
  return {text, WriteValue(code, columns_[column].format, text)};
}

/// {"t":[0.1],"low":[[1],[2]],"high":[[1.5],[2]],"saturated":[[0],[0]],...}: an array for each column.
std::string LiveFeed::Block() const {
  const std::size_t width = columns_.size();
  const auto arrays = [&](auto element) {
    std::string text = "[";
    for (std::size_t column = 0; column < width; ++column) {
      text += column ? ",[" : "[";
      for (std::size_t bin = 0; bin < bin_times_.size(); ++bin)
        text += (bin ? "," : "") + element(column, bin * width + column);
      text += ']';
    }
    return text + ']';
  };
  std::string text = "data: {\"t\":[";
  for (std::size_t bin = 0; bin < bin_times_.size(); ++bin)
    text += (bin ? "," : "") + Fixed(bin_times_[bin], 4);
  text += "],\"low\":" + arrays([&](auto column, auto place) { return Value(column, low_[place]); });
  text += ",\"high\":" + arrays([&](auto column, auto place) { return Value(column, high_[place]); });
  const auto saturated = [](auto codes) { return std::ranges::any_of(codes, IsSaturated); };
  if (saturated(std::span(low_)) || saturated(std::span(high_)))
    text += ",\"saturated\":" + arrays([&](auto, auto place) {
              return std::string(IsSaturated(low_[place]) || IsSaturated(high_[place]) ? "1" : "0");
            });
  text += ",\"last\":[";
  for (std::size_t column = 0; column < width; ++column)
    text += (column ? "," : "") + Value(column, last_frame_[column]);
  return text + "],\"frames\":" + std::to_string(frames_) + ",\"line\":" + Text(line_) +
         ",\"rate\":" + Text(rate_) + "}\n\n";
}

std::string LiveFeed::Hello() const {
  nlohmann::ordered_json columns = nlohmann::ordered_json::array();
  for (const Column& column : columns_)
    columns.push_back(
        {{"name", column.name}, {"scale", column.format.scale}, {"decimals", column.format.decimals}});
  return "retry: 1000\nevent: start\ndata: " + Text({{"device", device_}, {"columns", columns}}) + "\n\n";
}

std::string LiveFeed::Latest() const {
  const std::scoped_lock lock(mutex_);
  nlohmann::ordered_json json = {{"device", device_}};
  if (!latest_.empty()) {
    const std::chrono::duration<double> age = std::chrono::steady_clock::now() - latest_at_;
    json["seconds"] = latest_time_;
    json["age"] = std::round(age.count() * 1000) / 1000;
    json["rate"] = rate_;
    json["line"] = line_;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      json["names"].push_back(columns_[i].name);
      json["values"].push_back(nlohmann::ordered_json::parse(Value(i, latest_[i])));
      json["codes"].push_back(latest_[i]);
    }
  }
  return Text(json) + "\n";
}

}  // namespace halden::host
