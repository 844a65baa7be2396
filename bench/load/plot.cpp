#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>

#include "bench/load/run_result.h"

namespace vnq::bench {
namespace {

constexpr double kLeft = 70, kTop = 40, kWidth = 620, kHeight = 340;
constexpr double kNines = 4;  // the axis ends at 99.99 %
constexpr const char* kColours[] = {"#1f5fa8", "#d2691e", "#3a8f3a", "#8b3a8f"};

// Equal steps for 90, 99, 99.9 and 99.99 %.
double X(double percent) {
  const double nines = -std::log10(std::max(1e-4, 1 - percent / 100));
  return kLeft + kWidth * std::min(nines / kNines, 1.0);
}

double Y(double ms, double topMs) {
  return kTop + kHeight * (1 - ms / topMs);
}

std::string Curve(const Histogram& ns, double topMs, const char* colour) {
  std::string points;
  for (double nines = 0; nines <= kNines; nines += 0.02) {
    const double percent = 100 * (1 - std::pow(10, -nines));
    const double ms = static_cast<double>(ns.Percentile(percent)) / 1e6;
    points += fmt::format("{:.1f},{:.1f} ", X(percent), Y(ms, topMs));
  }
  return fmt::format("<polyline points=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"1.8\"/>\n",
                     points, colour);
}

std::string Label(double x, double y, std::string_view anchor, std::string_view text) {
  return fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>\n", x, y, anchor,
                     text);
}

std::string Line(double x1, double y1, double x2, double y2) {
  return fmt::format(
      "<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"#ccc\"/>\n", x1, y1,
      x2, y2);
}

std::string Axes(double topMs) {
  std::string svg;
  for (const double percent : {0.0, 50.0, 90.0, 99.0, 99.9, 99.99}) {
    svg += Line(X(percent), kTop, X(percent), kTop + kHeight);
    svg += Label(X(percent), kTop + kHeight + 18, "middle", fmt::format("{} %", percent));
  }
  for (int i = 0; i <= 5; ++i) {
    const double ms = topMs * i / 5;
    svg += Line(kLeft, Y(ms, topMs), kLeft + kWidth, Y(ms, topMs));
    svg += Label(kLeft - 6, Y(ms, topMs) + 4, "end", fmt::format("{:.3g} ms", ms));
  }
  return svg;
}

}  // namespace

bool WritePlot(const RunResult& result, const std::string& path) {
  double topMs = 0;
  for (const NamedLatency& one : result.latencies) {
    topMs = std::max(topMs, static_cast<double>(one.ns.max()) / 1e6);
  }
  topMs = std::max(topMs, 0.001);
  std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"720\" height=\"500\" "
      "font-family=\"sans-serif\" font-size=\"12\">\n"
      "<rect width=\"720\" height=\"500\" fill=\"white\"/>\n" +
      Label(kLeft, 22, "start",
            fmt::format("{}: {} {}, share that took at most so long", result.scenario,
                        result.operations, result.unit)) +
      Axes(topMs);
  for (size_t i = 0; i < result.latencies.size(); ++i) {
    const char* colour = kColours[i % std::size(kColours)];
    svg += Curve(result.latencies[i].ns, topMs, colour);
    svg += fmt::format("<rect x=\"{}\" y=\"{}\" width=\"14\" height=\"4\" fill=\"{}\"/>\n", kLeft,
                       kTop + kHeight + 37 + 18 * static_cast<double>(i), colour);
    svg += Label(kLeft + 20, kTop + kHeight + 43 + 18 * static_cast<double>(i), "start",
                 result.latencies[i].name);
  }
  std::ofstream file(path, std::ios::binary);
  file << svg << "</svg>\n";
  return file.flush().good();
}

}  // namespace vnq::bench
