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

// Lengths are in the picture's own units, of which a browser makes pixels.
constexpr double kLeft = 84;
constexpr double kTop = 52;
constexpr double kPlotWidth = 800;
constexpr double kLegendLeft = kLeft + kPlotWidth + 24;
constexpr double kWidth = kLegendLeft + 116;
constexpr double kLegendRow = 20;
constexpr double kLeastPlotHeight = 420;
constexpr double kBelowPlot = 60;

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
  int decimals = 0;  ///< as many as it takes to tell the ticks apart

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

/// Draws a trace. Texts are names and numbers of the driver and hold no character of markup.
class Picture {
 public:
  Picture(const Trace& trace, const std::vector<Column>& columns, double seconds, Output& output)
      : trace_(trace), columns_(columns), output_(output) {
    const double legend_height = static_cast<double>(LegendRows()) * kLegendRow;
    plot_height_ = std::max(kLeastPlotHeight, legend_height);
    time_ = MakeAxis(0, seconds > 0 ? seconds : 1, 11);
    const auto [low, high] = ValueSpan();
    value_ = MakeAxis(low, high, 11);
  }

  void Write(const std::string& title) {
    const std::string size = Fixed(kWidth, 0) + " " + Fixed(kTop + plot_height_ + kBelowPlot, 0);
    output_.Write("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size +
                  "\" font-family=\"system-ui, sans-serif\" font-size=\"13\" fill=\"#333\">\n<title>" +
                  title + "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n");
    Text(kLeft, 30, "start", title, " font-size=\"16\" font-weight=\"600\"");
    WriteGrid();
    for (std::size_t i = 0; i < trace_.Channels(); ++i) WriteTrace(i);
    WriteLegend();
    output_.Write("</svg>\n");
  }

 private:
  std::size_t LegendRows() const { return trace_.Channels() + (columns_.size() > trace_.Channels() ? 1 : 0); }

  /// The values that the traces span, with a margin. Never empty: {0, 1} without frames.
  std::pair<double, double> ValueSpan() const {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (std::size_t i = 0; i < trace_.Channels(); ++i) {
      for (const Extent& bin : trace_.Bins(i)) {
        low = std::min(low, ValueOf(bin.low, columns_[i].format));
        high = std::max(high, ValueOf(bin.high, columns_[i].format));
      }
    }
    if (low > high) return {0, 1};
    const double margin = high > low ? (high - low) * 0.04 : std::max(std::abs(high) * 0.1, 1e-3);
    return {low - margin, high + margin};
  }

  double X(double seconds) const { return kLeft + time_.Place(seconds) * kPlotWidth; }
  double Y(double value) const { return kTop + (1 - value_.Place(value)) * plot_height_; }

  void Text(double x, double y, const char* anchor, const std::string& text, const char* more = "") {
    output_.Write("<text x=\"" + Trimmed(x, 1) + "\" y=\"" + Trimmed(y, 1) + "\" text-anchor=\"" + anchor +
                  "\"" + more + ">" + text + "</text>\n");
  }

  void Line(double x1, double y1, double x2, double y2, const std::string& style) {
    output_.Write("<path d=\"M" + Trimmed(x1, 1) + " " + Trimmed(y1, 1) + "L" + Trimmed(x2, 1) + " " +
                  Trimmed(y2, 1) + "\" " + style + "/>\n");
  }

  void WriteGrid() {
    const double bottom = kTop + plot_height_;
    for (const double tick : time_.ticks) {
      Line(X(tick), kTop, X(tick), bottom, "stroke=\"#e6e6e6\"");
      Text(X(tick), bottom + 20, "middle", time_.Label(tick));
    }
    for (const double tick : value_.ticks) {
      Line(kLeft, Y(tick), kLeft + kPlotWidth, Y(tick), "stroke=\"#e6e6e6\"");
      Text(kLeft - 8, Y(tick) + 4.5, "end", value_.Label(tick));
    }
    Line(kLeft, kTop, kLeft, bottom, "stroke=\"#888\"");
    Line(kLeft, bottom, kLeft + kPlotWidth, bottom, "stroke=\"#888\"");
    Text(kLeft + kPlotWidth / 2, bottom + 44, "middle", "seconds");
    const double middle = kTop + plot_height_ / 2;
    const std::string turned = " transform=\"rotate(-90 22 " + Trimmed(middle, 1) + ")\"";
    Text(22, middle, "middle", "units of the device", turned.c_str());
  }

  /// A bin is drawn as a line between its lowest and its highest value, entered at the end that is nearer to
  /// where the last bin was left, so that slopes stay slopes.
  void WriteTrace(std::size_t channel) {
    output_.Write("<polyline fill=\"none\" stroke-width=\"1.4\" stroke-linejoin=\"round\" stroke=\"" +
                  ColourOf(channel) + "\" points=\"");
    const auto& bins = trace_.Bins(channel);
    std::int16_t last = bins.empty() ? std::int16_t{0} : bins[0].low;
    for (std::size_t i = 0; i < bins.size(); ++i) {
      const bool low_first = std::abs(last - bins[i].low) <= std::abs(last - bins[i].high);
      last = low_first ? bins[i].high : bins[i].low;
      const double frame = (static_cast<double>(i) + 0.5) * static_cast<double>(trace_.FramesPerBin());
      const double x = kLeft + std::min(frame / static_cast<double>(trace_.Frames()), 1.0) * kPlotWidth;
      WritePoint(x, low_first ? bins[i].low : bins[i].high, channel);
      if (bins[i].low != bins[i].high) WritePoint(x, last, channel);
    }
    if (trace_.Frames() == 1) WritePoint(kLeft + kPlotWidth, last, channel);  // one point alone is not drawn
    output_.Write("\"/>\n");
  }

  void WritePoint(double x, std::int16_t code, std::size_t channel) {
    output_.Write(Trimmed(x, 1) + "," + Trimmed(Y(ValueOf(code, columns_[channel].format)), 1) + " ");
  }

  void WriteLegend() {
    double y = kTop + 12;
    for (std::size_t i = 0; i < trace_.Channels(); ++i, y += kLegendRow) {
      Line(kLegendLeft, y - 4.5, kLegendLeft + 22, y - 4.5,
           "stroke-width=\"3\" stroke=\"" + ColourOf(i) + "\"");
      Text(kLegendLeft + 30, y, "start", columns_[i].name);
    }
    if (columns_.size() > trace_.Channels()) {
      Text(kLegendLeft, y, "start", "and " + std::to_string(columns_.size() - trace_.Channels()) + " more");
    }
  }

  const Trace& trace_;
  const std::vector<Column>& columns_;
  Output& output_;
  double plot_height_;
  Axis time_;
  Axis value_;
};

class PictureSink final : public FrameSink {
 public:
  PictureSink(const std::string& path, std::vector<Column> columns)
      : columns_(std::move(columns)), trace_(columns_.size()), output_(path) {}

  void Take(std::span<const std::int16_t> codes) override { trace_.Add(codes); }
  void Finish(const RecordingSummary& summary) override {
    Picture(trace_, columns_, summary.seconds, output_)
        .Write(summary.port + ": " + std::to_string(summary.frames) + " frames, " +
               Fixed(summary.FramesPerSecond(), 1) + " a second");
    output_.Close();
  }
  bool Ok() const override { return output_.Ok(); }
  const std::string& Failure() const override { return output_.Failure(); }

 private:
  const std::vector<Column> columns_;
  Trace trace_;
  Output output_;
};

}  // namespace

std::unique_ptr<FrameSink> NewPictureSink(const std::string& path, std::vector<Column> columns) {
  return std::make_unique<PictureSink>(path, std::move(columns));
}

}  // namespace halden::host
