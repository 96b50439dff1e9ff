// The visual format parser and the one-axis solver the Qt layout uses.
#include "qt/visual_format.h"

#include <optional>
#include <vector>

#include <gtest/gtest.h>

namespace pelorin::qt {
namespace {

TEST(VisualFormatTest, EdgesWithSpacingAroundOneView) {
  const auto format = parseVisualFormat("H:|-0-[background]-0-|");

  ASSERT_TRUE(format);
  EXPECT_EQ(format->orientation, Orientation::kHorizontal);
  EXPECT_EQ(format->views, (std::vector<VisualFormatView>{{"background", std::nullopt}}));
  EXPECT_EQ(format->leadingSpacing, 0.0);
  EXPECT_EQ(format->trailingSpacing, 0.0);
  EXPECT_TRUE(format->spacings.empty());
}

TEST(VisualFormatTest, DecimalMarginsAndAGuideBeforeTheView) {
  const auto format = parseVisualFormat("V:|[topGuide]-84.4-[lightbox]-84.4-|");

  ASSERT_TRUE(format);
  EXPECT_EQ(format->orientation, Orientation::kVertical);
  EXPECT_EQ(format->views, (std::vector<VisualFormatView>{{"topGuide", std::nullopt},
                                                          {"lightbox", std::nullopt}}));
  EXPECT_EQ(format->leadingSpacing, 0.0);
  EXPECT_EQ(format->spacings, (std::vector<double>{84.4}));
  EXPECT_EQ(format->trailingSpacing, 84.4);
}

TEST(VisualFormatTest, OneEdgeOnly) {
  const auto trailing = parseVisualFormat("H:[closeButton]-10-|");
  const auto leading = parseVisualFormat("V:|-10-[closeButton]");

  ASSERT_TRUE(trailing);
  EXPECT_EQ(trailing->leadingSpacing, std::nullopt);
  EXPECT_EQ(trailing->trailingSpacing, 10.0);
  ASSERT_TRUE(leading);
  EXPECT_EQ(leading->leadingSpacing, 10.0);
  EXPECT_EQ(leading->trailingSpacing, std::nullopt);
}

TEST(VisualFormatTest, FixedLengthsStandardSpacingsAndNoOrientation) {
  const auto format = parseVisualFormat("|-[button(44)]-[field(==120)][label]-|");

  ASSERT_TRUE(format);
  EXPECT_EQ(format->orientation, Orientation::kHorizontal);
  EXPECT_EQ(format->views, (std::vector<VisualFormatView>{
                               {"button", 44.0}, {"field", 120.0}, {"label", std::nullopt}}));
  EXPECT_EQ(format->leadingSpacing, kStandardEdgeSpacing);
  EXPECT_EQ(format->spacings, (std::vector<double>{kStandardSpacing, 0.0}));
  EXPECT_EQ(format->trailingSpacing, kStandardEdgeSpacing);
}

TEST(VisualFormatTest, FormsOutsideTheSubsetAreRejected) {
  for (const char* text : {"",
                           "H:",
                           "|",
                           "H:||",
                           "H:|-0-|",
                           "[a",
                           "[a]]",
                           "[1a]",
                           "[a(>=44)]",
                           "[a(44@750)]",
                           "|-(>=8)-[a]",
                           "|--[a]",
                           "|-10[a]",
                           "[a]-10",
                           "H:|-0-[a]-0-|x",
                           "X:[a]",
                           "[a] [b]",
                           "|-.5-[a]",
                           "|-5.-[a]",
                           "|--5-[a]"}) {
    EXPECT_EQ(parseVisualFormat(text), std::nullopt) << text;
  }
}

TEST(VisualFormatTest, BetweenEdgesTheViewStretches) {
  const auto format = parseVisualFormat("H:|-40-[lightbox]-40-|");

  const auto placed = solveAxis(*format, 400, {AxisItem{100, 7, false}});

  ASSERT_TRUE(placed);
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{40, 320}}));
}

TEST(VisualFormatTest, AGuideKeepsItsPlaceAndTheChainGoesOnFromIt) {
  const auto format = parseVisualFormat("V:|[topGuide]-80-[lightbox]-80-|");

  const auto placed = solveAxis(*format, 800, {AxisItem{0, 0, true}, AxisItem{150, 0, false}});

  ASSERT_TRUE(placed);
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{0, 0}, {80, 640}}));
}

TEST(VisualFormatTest, FromTheTrailingEdgeWithTheViewsOwnLength) {
  const auto format = parseVisualFormat("H:[closeButton]-10-|");

  const auto placed = solveAxis(*format, 320, {AxisItem{30, 0, false}});

  ASSERT_TRUE(placed);
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{280, 30}}));
}

TEST(VisualFormatTest, FromTheLeadingEdgeWithAFixedLength) {
  const auto format = parseVisualFormat("V:|-10-[background(44)]");

  const auto placed = solveAxis(*format, 800, {AxisItem{30, 500, false}});

  ASSERT_TRUE(placed);
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{10, 44}}));
}

TEST(VisualFormatTest, SeveralViewsBetweenEdgesStretchTheFirstFlexibleOne) {
  const auto format = parseVisualFormat("H:|-[a(44)]-[b]-[c]-|");

  const auto placed = solveAxis(
      *format, 300, {AxisItem{10, 0, false}, AxisItem{10, 0, false}, AxisItem{50, 0, false}});

  ASSERT_TRUE(placed);
  // 300 - 20 - 44 - 8 - 8 - 50 - 20 = 150 for b.
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{20, 44}, {72, 150}, {230, 50}}));
}

TEST(VisualFormatTest, AViewOfFixedSizeDoesNotStretch) {
  const auto format = parseVisualFormat("V:|[guide]-80-[lightbox]-80-|");

  AxisItem guide{0, 0, false};
  guide.isFixed = true;
  const auto placed = solveAxis(*format, 800, {guide, AxisItem{150, 0, false}});

  ASSERT_TRUE(placed);
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{0, 0}, {80, 640}}));
}

TEST(VisualFormatTest, WithoutEdgesTheChainStartsAtTheFirstView) {
  const auto format = parseVisualFormat("H:[a]-10-[b(20)]");

  const auto placed = solveAxis(*format, 300, {AxisItem{30, 100, false}, AxisItem{5, 0, false}});

  ASSERT_TRUE(placed);
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{100, 30}, {140, 20}}));
}

TEST(VisualFormatTest, ATooSmallSuperviewGivesLengthZeroNotBelow) {
  const auto format = parseVisualFormat("H:|-40-[lightbox]-40-|");

  const auto placed = solveAxis(*format, 60, {AxisItem{}});

  ASSERT_TRUE(placed);
  EXPECT_EQ(*placed, (std::vector<AxisPlacement>{{40, 0}}));
}

TEST(VisualFormatTest, ItemsThatDoNotMatchTheFormatAreRefused) {
  const auto format = parseVisualFormat("H:|-0-[a]-0-|");

  EXPECT_EQ(solveAxis(*format, 100, {}), std::nullopt);
  EXPECT_EQ(solveAxis(*format, 100, {AxisItem{}, AxisItem{}}), std::nullopt);
}

}  // namespace
}  // namespace pelorin::qt
