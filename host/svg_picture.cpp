#include "host/svg_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "host/axis.h"
#include "host/decimal_text.h"

namespace halden::host {
namespace {

constexpr double kLeft = 84;
constexpr double kTop = 52;
constexpr double kPlotWidth = 800;
constexpr double kLegendLeft = kLeft + kPlotWidth + 24;
constexpr double kWidth = kLegendLeft + 116;
constexpr double kLegendRow = 20;
constexpr double kLeastPlotHeight = 420;
constexpr double kBelowPlot = 60;

/// Hand-picked for the first channels; beyond them hues a golden angle apart, in three lightnesses.
std::string ColourOf(std::size_t channel) {
  static constexpr std::array kFirst = {"#1f6fb4", "#d9480f", "#2b8a3e", "#9c36b5",
                                        "#c99700", "#0b9aa6", "#c2255c", "#5f5f5f"};
  if (channel < kFirst.size()) return kFirst[channel];
  const double hue = std::fmod(static_cast<double>(channel) * 137.508, 360);
  return "hsl(" + Fixed(hue, 0) + ",65%," + Fixed(30 + 12 * static_cast<double>(channel % 3), 0) + "%)";
}

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

  /// What all traces span, with a little air, never empty.
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
    const double air = high > low ? (high - low) * 0.04 : std::max(std::abs(high) * 0.1, 1e-3);
    return {low - air, high + air};
  }

  double X(double seconds) const { return kLeft + time_.Place(seconds) * kPlotWidth; }
  double Y(double value) const { return kTop + (1 - value_.Place(value)) * plot_height_; }

  /// `text` holds nothing that would have to be escaped.
  void Text(double x, double y, const char* anchor, const std::string& text, const char* more = "") {
    output_.Write("<text x=\"" + Short(x, 1) + "\" y=\"" + Short(y, 1) + "\" text-anchor=\"" + anchor + "\"" +
                  more + ">" + text + "</text>\n");
  }

  void Line(double x1, double y1, double x2, double y2, const std::string& style) {
    output_.Write("<path d=\"M" + Short(x1, 1) + " " + Short(y1, 1) + "L" + Short(x2, 1) + " " +
                  Short(y2, 1) + "\" " + style + "/>\n");
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
    const std::string turned = " transform=\"rotate(-90 22 " + Short(middle, 1) + ")\"";
    Text(22, middle, "middle", "units of the device", turned.c_str());
  }

  /// Both ends of each bin, first the one nearer to where the trace comes from.
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
    if (trace_.Frames() == 1) WritePoint(kLeft + kPlotWidth, last, channel);  // a line of one point is none
    output_.Write("\"/>\n");
  }

  void WritePoint(double x, std::int16_t code, std::size_t channel) {
    output_.Write(Short(x, 1) + "," + Short(Y(ValueOf(code, columns_[channel].format)), 1) + " ");
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

}  // namespace

void WriteSvg(const std::string& title, const Trace& trace, const std::vector<Column>& columns,
              double seconds, Output& output) {
  Picture(trace, columns, seconds, output).Write(title);
}

}  // namespace halden::host
