#include "host/web/live_feed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/option_rules.h"

namespace halden::host {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;

/// A feed of two columns with 20 codes per unit.
class Feed {
 public:
  LiveFeed feed{"COM5", {{"Column1", FormatOf(20, 0)}, {"Column2", FormatOf(20, 0)}}};

  /// Sends frames of the codes (code, -code), the first at `time` and 1 ms apart, as one block.
  void Send(const std::vector<std::int16_t>& codes, double time) {
    std::vector<std::int16_t> frames;
    std::vector<double> times;
    for (const std::int16_t code : codes) {
      times.push_back(time + 0.001 * static_cast<double>(times.size()));
      frames.insert(frames.end(), {code, static_cast<std::int16_t>(-code)});
    }
    feed.Add({frames, times});
    std::this_thread::sleep_for(LiveFeed::kPace);
    feed.Send("1;2", "Rate 5.0");
  }
  static json Data(const std::string& events) {
    const auto at = events.rfind("data: ");
    return json::parse(events.substr(at + 6, events.find('\n', at) - at - 6));
  }
};

TEST(LiveFeed, KeepsTheLowestAndTheHighestValueOfEachBin) {
  Feed feed;
  const auto client = feed.feed.Join();
  feed.Send({20, 20, 20000, 20, 20, -20000, 20, 40}, 0.0125);  // 8 ms: a bin of 6.25 ms and the rest
  const json block = Feed::Data(client->Next(milliseconds(0)).value_or(""));
  EXPECT_EQ(block["t"], json({0.0125, 0.0195}));
  EXPECT_EQ(block["low"], json({{-1000, 2}, {-1000, -2}}));
  EXPECT_EQ(block["high"], json({{1000, 2}, {1000, -2}}));
  EXPECT_EQ(block["last"], json({2, -2}));
  EXPECT_EQ(block["frames"], 8);
  EXPECT_FALSE(block.contains("saturated"));
  feed.Send({20, 32767}, 0.1);
  EXPECT_EQ(Feed::Data(client->Next(milliseconds(0)).value_or(""))["saturated"], json({{1}, {0}}));
  EXPECT_EQ(json::parse(feed.feed.Latest())["codes"], json({32767, -32767}));
}

TEST(LiveFeed, AClientThatDoesNotReadLosesTheOldestBlocksAndIsTold) {
  constexpr int kLost = 3;
  Feed feed;
  const auto client = feed.feed.Join();
  for (std::size_t i = 0; i < LiveFeed::kMostBlocks + kLost; ++i) {
    feed.feed.Add({std::vector<std::int16_t>{static_cast<std::int16_t>(20 * i), 0, 0, 0},
                   std::vector<double>{static_cast<double>(i), static_cast<double>(i)}});
    std::this_thread::sleep_for(LiveFeed::kPace);
    feed.feed.Send("", "");
  }
  const std::string events = client->Next(milliseconds(0)).value_or("");
  EXPECT_TRUE(events.starts_with("event: lost\ndata: 6\n\n"))
      << "two frames of each lost block: " << events.substr(0, 60);
  EXPECT_EQ(json::parse(events.substr(events.find("{"), events.find("}") - events.find("{") + 1))["t"][0],
            kLost);
  feed.feed.End();
  EXPECT_FALSE(client->Next(milliseconds(0)).has_value());
  EXPECT_FALSE(feed.feed.Join()->Next(milliseconds(0)).has_value()) << "joined after the end";
}

TEST(ParseWebAddress, TakesAPortWithOrWithoutANumericAddress) {
  WebAddress where;
  EXPECT_TRUE(ParseWebAddress("8080", &where));
  EXPECT_EQ(WebServer::UrlOf(where), "http://127.0.0.1:8080/");
  EXPECT_TRUE(ParseWebAddress("[::1]:1", &where));
  EXPECT_TRUE(where.IsLocal());
  EXPECT_EQ(WebServer::UrlOf(where), "http://[::1]:1/");
  EXPECT_TRUE(ParseWebAddress("192.168.0.5:65535", &where));
  EXPECT_FALSE(where.IsLocal());
  for (const char* wrong : {"", "0", "65536", "host:80", ":80", "1.2.3.4:", "[]:80", "::1:80"})
    EXPECT_FALSE(ParseWebAddress(wrong, &where)) << wrong;
}

}  // namespace
}  // namespace halden::host
