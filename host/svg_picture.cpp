#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "host/output.h"
#include "host/recording.h"
#include "host/trace.h"

namespace halden::host {
namespace {

// Lengths are in the picture's units, which a browser shows as pixels.
constexpr double kLeft = 84;
constexpr double kTop = 52;
constexpr double kPlotWidth = 800;
constexpr double kLegendLeft = kLeft + kPlotWidth + 24;
constexpr double kWidth = kLegendLeft + 116;
constexpr double kLegendRow = 20;
constexpr double kPlotHeight = 420;
constexpr double kLeastPanelHeight = 110;
constexpr double kPanelGap = 16;
constexpr double kBelowPlot = 60;

constexpr std::size_t kMostPanels = 8;
constexpr double kMostRatio = 20;  // between the largest values of two channels on one axis

/// Hand-picked for the first channels. The others get hues a golden angle apart, which keeps neighbours apart
/// for any number of channels, in three lightnesses.
std::string ColourOf(std::size_t channel) {
  static constexpr std::array kFirst = {"#1f6fb4", "#d9480f", "#2b8a3e", "#9c36b5",
                                        "#c99700", "#0b9aa6", "#c2255c", "#5f5f5f"};
  if (channel < kFirst.size()) return kFirst[channel];
  const double hue = std::fmod(static_cast<double>(channel) * 137.508, 360);
  return "hsl(" + Fixed(hue, 0) + ",65%," + Fixed(30 + 12 * static_cast<double>(channel % 3), 0) + "%)";
}

/// An axis from `low` to `high` with ticks at round numbers.
struct Axis {
  double low = 0;
  double high = 1;
  std::vector<double> ticks;
  int decimals = 0;  ///< enough to distinguish neighbouring ticks

  /// 0 at `low`, 1 at `high`.
  double Place(double value) const { return (value - low) / (high - low); }
  std::string Label(double tick) const { return Fixed(tick, decimals); }
};

/// Ticks are 1, 2 or 5 times a power of ten apart, and at most `most` of them. `high` must be above `low`.
Axis MakeAxis(double low, double high, int most) {
  const double least_step = (high - low) / std::max(most - 1, 1);
  int exponent = static_cast<int>(std::floor(std::log10(least_step)));
  double factor = 1;
  // The tolerances here and below keep rounding errors from skipping a step or losing the tick at an end.
  for (const double candidate : {1.0, 2.0, 5.0, 10.0}) {
    factor = candidate;
    if (candidate * std::pow(10.0, exponent) >= least_step * (1 - 1e-9)) break;
  }
  const double step = factor * std::pow(10.0, exponent);
  if (factor == 10) ++exponent;

  Axis axis{low, high, {}, std::max(0, -exponent)};
  const auto first = static_cast<std::int64_t>(std::ceil(low / step - 1e-9));
  const auto last = static_cast<std::int64_t>(std::floor(high / step + 1e-9));
  for (std::int64_t n = first; n <= last; ++n) axis.ticks.push_back(static_cast<double>(n) * step);
  return axis;
}

/// Channels that share a value axis.
struct Panel {
  std::vector<std::size_t> channels;
  Axis axis;
  double top = 0;
};

/// Draws a trace over time. Channels whose values differ too much in size for one axis get separate panels,
/// which share the time axis. Texts aren't escaped: the driver's names and numbers contain no markup.
class Picture {
 public:
  Picture(const Trace& trace, const std::vector<Column>& columns, double seconds, Output& output)
      : trace_(trace), columns_(columns), output_(output) {
    MakePanels();
    std::size_t rows = NotShown() > 0 ? 1 : 0;
    for (const Panel& panel : panels_)
      rows = std::max(rows, panel.channels.size() + (NotShown() > 0 ? 1 : 0));
    const double shared = (kPlotHeight - kPanelGap * static_cast<double>(panels_.size() - 1)) /
                          static_cast<double>(panels_.size());
    panel_height_ = std::max({shared, kLeastPanelHeight, static_cast<double>(rows) * kLegendRow});
    for (std::size_t i = 0; i < panels_.size(); ++i)
      panels_[i].top = kTop + static_cast<double>(i) * (panel_height_ + kPanelGap);
    bottom_ = panels_.back().top + panel_height_;
    time_ = MakeAxis(0, seconds > 0 ? seconds : 1, 11);
  }

  void Write(const std::string& title) {
    const std::string size = Fixed(kWidth, 0) + " " + Fixed(bottom_ + kBelowPlot, 0);
    output_.Write("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size +
                  "\" font-family=\"system-ui, sans-serif\" font-size=\"13\" fill=\"#333\">\n<title>" +
                  title + "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n");
    Text(kLeft, 30, "start", title, " font-size=\"16\" font-weight=\"600\"");
    for (const Panel& panel : panels_) WritePanel(panel);
    for (const double tick : time_.ticks) Text(X(tick), bottom_ + 20, "middle", time_.Label(tick));
    Text(kLeft + kPlotWidth / 2, bottom_ + 44, "middle", "seconds");
    const double middle = (kTop + bottom_) / 2;
    const std::string turned = " transform=\"rotate(-90 22 " + Trimmed(middle, 1) + ")\"";
    Text(22, middle, "middle", "units of the device", turned.c_str());
    output_.Write("</svg>\n");
  }

 private:
  /// The values that a channel takes. {0, 0} without frames.
  std::pair<double, double> SpanOf(std::size_t channel) const {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (std::size_t bin = 0; bin < trace_.Bins(); ++bin) {
      if (!trace_.HasFrames(bin)) continue;
      low = std::min(low, ValueOf(trace_.At(channel, bin).low, columns_[channel].format));
      high = std::max(high, ValueOf(trace_.At(channel, bin).high, columns_[channel].format));
    }
    return low > high ? std::pair(0.0, 0.0) : std::pair(low, high);
  }

  /// Sorts the channels into panels, largest first. A channel that is always 0 fits into any panel.
  void MakePanels() {
    std::vector<std::size_t> order(trace_.Channels());
    std::vector<double> sizes;
    for (std::size_t i = 0; i < order.size(); ++i) {
      order[i] = i;
      const auto [low, high] = SpanOf(i);
      sizes.push_back(std::max(std::abs(low), std::abs(high)));
    }
    std::ranges::stable_sort(order, [&](std::size_t a, std::size_t b) { return sizes[a] > sizes[b]; });
    double largest = 0;  // in the last panel
    for (const std::size_t channel : order) {
      const bool fits = !panels_.empty() && (sizes[channel] == 0 || sizes[channel] * kMostRatio >= largest);
      if (!fits && panels_.size() == kMostPanels) break;
      if (!fits) {
        panels_.emplace_back();
        largest = sizes[channel];
      }
      panels_.back().channels.push_back(channel);
    }
    if (panels_.empty()) panels_.emplace_back();
    for (Panel& panel : panels_) FinishPanel(panel);
  }

  /// Sorts the panel's channels by number and makes its axis, with a margin above and below the values.
  void FinishPanel(Panel& panel) const {
    std::ranges::sort(panel.channels);
    const int most_ticks = panels_.size() > 2 ? 7 : 11;
    if (trace_.Bins() == 0) {
      panel.axis = MakeAxis(0, 1, most_ticks);
      return;
    }
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const std::size_t channel : panel.channels) {
      const auto [lowest, highest] = SpanOf(channel);
      low = std::min(low, lowest);
      high = std::max(high, highest);
    }
    const double margin = high > low ? (high - low) * 0.04 : std::max(std::abs(high) * 0.1, 1e-3);
    panel.axis = MakeAxis(low - margin, high + margin, most_ticks);
  }

  /// Number of channels left out, because they don't fit into kMostPanels or exceed Trace::kMostChannels.
  std::size_t NotShown() const {
    std::size_t shown = 0;
    for (const Panel& panel : panels_) shown += panel.channels.size();
    return columns_.size() - shown;
  }

  double X(double seconds) const { return kLeft + time_.Place(seconds) * kPlotWidth; }
  double Y(const Panel& panel, double value) const {
    return panel.top + (1 - panel.axis.Place(value)) * panel_height_;
  }

  void Text(double x, double y, const char* anchor, const std::string& text, const char* more = "") {
    output_.Write("<text x=\"" + Trimmed(x, 1) + "\" y=\"" + Trimmed(y, 1) + "\" text-anchor=\"" + anchor +
                  "\"" + more + ">" + text + "</text>\n");
  }

  void Line(double x1, double y1, double x2, double y2, const std::string& style) {
    output_.Write("<path d=\"M" + Trimmed(x1, 1) + " " + Trimmed(y1, 1) + "L" + Trimmed(x2, 1) + " " +
                  Trimmed(y2, 1) + "\" " + style + "/>\n");
  }

  void WritePanel(const Panel& panel) {
    const double bottom = panel.top + panel_height_;
    for (const double tick : time_.ticks) Line(X(tick), panel.top, X(tick), bottom, "stroke=\"#e6e6e6\"");
    for (const double tick : panel.axis.ticks) {
      Line(kLeft, Y(panel, tick), kLeft + kPlotWidth, Y(panel, tick), "stroke=\"#e6e6e6\"");
      Text(kLeft - 8, Y(panel, tick) + 4.5, "end", panel.axis.Label(tick));
    }
    Line(kLeft, panel.top, kLeft, bottom, "stroke=\"#888\"");
    Line(kLeft, bottom, kLeft + kPlotWidth, bottom, "stroke=\"#888\"");
    for (const std::size_t channel : panel.channels) WriteTrace(panel, channel);
    WriteLegend(panel);
  }

  /// One polyline for each stretch without a gap.
  void WriteTrace(const Panel& panel, std::size_t channel) {
    const std::string begin =
        "<polyline fill=\"none\" stroke-width=\"1.4\" stroke-linejoin=\"round\" stroke-linecap=\"round\" "
        "stroke=\"" +
        ColourOf(channel) + "\" points=\"";
    std::size_t points = 0;  // of the open polyline; 0: none is open
    std::int16_t last = 0;
    for (std::size_t bin = 0; bin < trace_.Bins(); ++bin) {
      if (!trace_.HasFrames(bin)) continue;
      if (points > 0 && trace_.FollowsGap(bin)) EndLine(points);
      const Extent extent = trace_.At(channel, bin);
      if (points == 0) {
        output_.Write(begin);
        last = extent.low;
      }
      // A bin is drawn as a line between its lowest and its highest value. It starts at the end that is
      // nearer to the end of the previous bin, so that a slope doesn't become a zigzag.
      const bool low_first = std::abs(last - extent.low) <= std::abs(last - extent.high);
      last = low_first ? extent.high : extent.low;
      const double x = X((static_cast<double>(bin) + 0.5) * trace_.SecondsPerBin());
      WritePoint(panel, channel, x, low_first ? extent.low : extent.high);
      if (extent.low != extent.high) WritePoint(panel, channel, x, last);
      points += extent.low != extent.high ? 2 : 1;
      last_point_ = {x, Y(panel, ValueOf(last, columns_[channel].format))};
    }
    if (points > 0) EndLine(points);
  }

  /// A single point is drawn as a short line, since a polyline of one point is invisible.
  void EndLine(std::size_t& points) {
    if (points == 1)
      output_.Write(Trimmed(last_point_.first + 0.1, 1) + "," + Trimmed(last_point_.second, 1));
    output_.Write("\"/>\n");
    points = 0;
  }

  void WritePoint(const Panel& panel, std::size_t channel, double x, std::int16_t code) {
    output_.Write(Trimmed(x, 1) + "," + Trimmed(Y(panel, ValueOf(code, columns_[channel].format)), 1) + " ");
  }

  void WriteLegend(const Panel& panel) {
    double y = panel.top + 12;
    for (const std::size_t channel : panel.channels) {
      Line(kLegendLeft, y - 4.5, kLegendLeft + 22, y - 4.5,
           "stroke-width=\"3\" stroke=\"" + ColourOf(channel) + "\"");
      Text(kLegendLeft + 30, y, "start", columns_[channel].name);
      y += kLegendRow;
    }
    if (&panel == &panels_.back() && NotShown() > 0)
      Text(kLegendLeft, y, "start", std::to_string(NotShown()) + " more not shown");
  }

  const Trace& trace_;
  const std::vector<Column>& columns_;
  Output& output_;
  std::vector<Panel> panels_;
  double panel_height_ = 0;
  double bottom_ = 0;
  Axis time_;
  std::pair<double, double> last_point_;
};

class PictureSink final : public FrameSink {
 public:
  PictureSink(std::string path, std::vector<Column> columns, Existing existing)
      : path_(std::move(path)), existing_(existing), columns_(std::move(columns)), trace_(columns_.size()) {}

  void Take(const Frames& frames) override { trace_.Add(frames); }
  void Pause(const RecordingSummary& summary) override { Finish(summary); }
  void Finish(const RecordingSummary& summary) override {
    Output output(path_, std::exchange(existing_, Existing::kOverwrite));
    Picture(trace_, columns_, summary.seconds, output)
        .Write(summary.port + ": " + std::to_string(summary.frames) + " frames, " +
               Fixed(summary.FramesPerSecond(), 1) + " a second");
    output.Close();
    failure_ = output.Failure();
  }
  bool Ok() const override { return failure_.empty(); }
  const std::string& Failure() const override { return failure_; }

 private:
  const std::string path_;
  Existing existing_;  ///< for the next write
  const std::vector<Column> columns_;
  Trace trace_;
  std::string failure_;
};

}  // namespace

std::unique_ptr<FrameSink> NewPictureSink(const std::string& path, std::vector<Column> columns,
                                          const FileOptions& options) {
  return std::make_unique<PictureSink>(path, std::move(columns), options.existing);
}

}  // namespace halden::host
