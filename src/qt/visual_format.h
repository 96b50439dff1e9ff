// The visual format language of layout constraints, for the forms the library writes:
// an orientation ("H:" or "V:", none: horizontal), the superview's edges "|", spacings
// ("-10-", the standard "-", or none: adjacent), and views "[name]" or "[name(44)]"
// (a fixed length). Parsing and solving one axis are plain C++; the Qt layout that applies
// the result to widgets is in constraint_layout.h.
//
//   auto format = parseVisualFormat("H:|-40-[lightbox]-40-|");
//   auto placed = solveAxis(*format, 400, {AxisItem{}});  // placed[0]: start 40, length 320
//
// Thread safety: plain functions on values; safe from any thread.
#ifndef PELORIN_SRC_QT_VISUAL_FORMAT_H_
#define PELORIN_SRC_QT_VISUAL_FORMAT_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pelorin::qt {

enum class Orientation { kHorizontal, kVertical };

// The standard spacing "-" between two views, and between a view and its superview's edge.
inline constexpr double kStandardSpacing = 8;
inline constexpr double kStandardEdgeSpacing = 20;

struct VisualFormatView {
  std::string name;
  std::optional<double> length;  // "[name(44)]"; none: the view's own length
  friend bool operator==(const VisualFormatView&, const VisualFormatView&) = default;
};

// One parsed format: the views in order along the axis and the spacings around them.
struct VisualFormat {
  Orientation orientation = Orientation::kHorizontal;
  std::vector<VisualFormatView> views;
  // From the leading edge to the first view; none: the format has no leading edge.
  std::optional<double> leadingSpacing;
  // Between views[i] and views[i + 1].
  std::vector<double> spacings;
  // From the last view to the trailing edge; none: no trailing edge.
  std::optional<double> trailingSpacing;
  friend bool operator==(const VisualFormat&, const VisualFormat&) = default;
};

// The format `text` parses to; nothing when it is empty, names no view, or uses a form
// outside the ones above (relations such as "(>=8)", priorities, several predicates).
std::optional<VisualFormat> parseVisualFormat(std::string_view text);

// What the solver knows of a view on the axis.
struct AxisItem {
  // The view's own length (a fixed size, its size hint or its current length).
  double naturalLength = 0;
  // Where the view starts now; a chain with no edge stays where its first view is.
  double currentStart = 0;
  // Not a view of the superview (a layout guide): it keeps its start and length, and the
  // chain continues from it.
  bool isGuide = false;
  // The view cannot change its length on this axis (a fixed size): it never stretches.
  bool isFixed = false;
};

struct AxisPlacement {
  double start = 0;
  double length = 0;
  friend bool operator==(const AxisPlacement&, const AxisPlacement&) = default;
};

// Places the views of `format` (one `items` entry per view, in order) on an axis of
// `superviewLength`. Views with a length in the format keep it; between two edges the first
// view without one and without a fixed size stretches to fill what is left (never below 0), the
// others keep their natural length. A chain with one edge runs from it; with none, from the first
// view's current start. Answers one placement per view; nothing when `items` does not match.
std::optional<std::vector<AxisPlacement>> solveAxis(const VisualFormat& format,
                                                    double superviewLength,
                                                    const std::vector<AxisItem>& items);

}  // namespace pelorin::qt

#endif  // PELORIN_SRC_QT_VISUAL_FORMAT_H_
