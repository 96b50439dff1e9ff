#include "pelorin/headless/picker_view.h"

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "pelorin/headless/control.h"

namespace pelorin::headless {
namespace {

class RecordingDelegate : public PickerViewDelegate {
 public:
  void didSelectRow(PickerView& pickerView, std::size_t row, std::size_t component) override {
    selections.emplace_back(&pickerView, row, component);
  }
  std::vector<std::tuple<PickerView*, std::size_t, std::size_t>> selections;
};

std::shared_ptr<PickerView> sizesAndColours() {
  return std::make_shared<PickerView>(
      std::vector<std::vector<std::string>>{{"S", "M", "L"}, {"red", "blue"}});
}

TEST(PickerViewTest, ComponentsHoldTheirRowTitles) {
  auto picker = sizesAndColours();

  EXPECT_EQ(picker->numberOfComponents(), 2u);
  EXPECT_EQ(picker->numberOfRows(0), 3u);
  EXPECT_EQ(picker->numberOfRows(1), 2u);
  EXPECT_EQ(picker->numberOfRows(2), 0u);
  EXPECT_EQ(picker->titleForRow(2, 0), "L");
  EXPECT_EQ(picker->titleForRow(1, 1), "blue");
  EXPECT_EQ(picker->titleForRow(2, 1), std::nullopt);
}

TEST(PickerViewTest, EveryComponentWithRowsStartsOnItsFirstRow) {
  PickerView picker(std::vector<std::vector<std::string>>{{"a", "b"}, {}});

  EXPECT_EQ(picker.selectedRow(0), 0u);
  EXPECT_EQ(picker.selectedTitle(0), "a");
  EXPECT_EQ(picker.selectedRow(1), std::nullopt);
  EXPECT_EQ(picker.selectedRow(7), std::nullopt);
}

TEST(PickerViewTest, UserPickingARowTellsTheDelegate) {
  auto picker = sizesAndColours();
  auto delegate = std::make_shared<RecordingDelegate>();
  picker->setDelegate(delegate);

  EXPECT_TRUE(picker->pickRow(2, 0));
  EXPECT_TRUE(picker->pickRow(2, 0));  // the same row again is told again

  ASSERT_EQ(delegate->selections.size(), 2u);
  EXPECT_EQ(delegate->selections[0], std::make_tuple(picker.get(), std::size_t{2}, std::size_t{0}));
  EXPECT_EQ(picker->selectedTitle(0), "L");
  EXPECT_EQ(picker->description(), "<PickerView; frame = (0 0; 0 0); selected = ['L', 'red']>");
}

TEST(PickerViewTest, SelectingInCodeDoesNotTellTheDelegate) {
  auto picker = sizesAndColours();
  auto delegate = std::make_shared<RecordingDelegate>();
  picker->setDelegate(delegate);

  EXPECT_TRUE(picker->selectRow(1, 1));

  EXPECT_EQ(picker->selectedTitle(1), "blue");
  EXPECT_TRUE(delegate->selections.empty());
}

TEST(PickerViewTest, RowOutOfRangeIsIgnored) {
  auto picker = sizesAndColours();
  auto delegate = std::make_shared<RecordingDelegate>();
  picker->setDelegate(delegate);

  EXPECT_FALSE(picker->pickRow(3, 0));
  EXPECT_FALSE(picker->pickRow(0, 2));
  EXPECT_FALSE(picker->selectRow(5, 1));

  EXPECT_TRUE(delegate->selections.empty());
  EXPECT_EQ(picker->selectedRow(0), 0u);
}

TEST(PickerViewTest, DelegateIsHeldWeakly) {
  auto picker = sizesAndColours();
  auto delegate = std::make_shared<RecordingDelegate>();
  picker->setDelegate(delegate);

  delegate.reset();

  EXPECT_EQ(picker->delegate(), nullptr);
  EXPECT_TRUE(picker->pickRow(1, 0));  // nobody to tell, the selection still moves
  EXPECT_EQ(picker->selectedRow(0), 1u);
}

TEST(PickerViewTest, PickerIsNeitherAControlNorAViewWithText) {
  std::shared_ptr<View> picker = sizesAndColours();

  EXPECT_EQ(dynamic_cast<Control*>(picker.get()), nullptr);
  EXPECT_FALSE(picker->hasTextProperty());
}

TEST(PickerViewTest, ReplacingComponentsResetsTheSelection) {
  auto picker = sizesAndColours();
  picker->selectRow(2, 0);

  picker->setComponents({{"one", "two"}});

  EXPECT_EQ(picker->numberOfComponents(), 1u);
  EXPECT_EQ(picker->selectedTitle(0), "one");
}

}  // namespace
}  // namespace pelorin::headless
