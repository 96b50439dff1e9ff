// The contract of `platform::View`: the tree, identity, texts and the changes the library
// makes to a screen's views.
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "contract/toolkit_driver.h"

namespace pelorin::contract {
namespace {

std::vector<platform::View*> subviewsOf(const platform::View& view) {
  std::vector<platform::View*> subviews;
  view.forEachSubview([&](platform::View& subview) { subviews.push_back(&subview); });
  return subviews;
}

// The texts under `root`, depth first, as the library reads a screen.
std::vector<std::string> textsUnder(platform::View& root) {
  std::vector<std::string> texts;
  std::vector<platform::View*> pending{&root};
  while (!pending.empty()) {
    platform::View* view = pending.back();
    pending.pop_back();
    if (view->hasTextProperty()) {
      if (auto text = view->text()) texts.push_back(*text);
    }
    auto subviews = subviewsOf(*view);
    pending.insert(pending.end(), subviews.rbegin(), subviews.rend());
  }
  return texts;
}

TEST_P(ViewContractTest, SubviewsAreVisitedBackToFront) {
  auto root = driver().makeContainer();
  auto first = driver().makeLabel("first");
  auto second = driver().makeButton("second");
  root->addSubview(first);
  root->addSubview(second);

  EXPECT_EQ(subviewsOf(*root), (std::vector<platform::View*>{first.get(), second.get()}));
}

TEST_P(ViewContractTest, SuperviewIsTheSameObjectAsTheParent) {
  auto root = driver().makeContainer();
  auto child = driver().makeLabel("child");
  root->addSubview(child);

  EXPECT_EQ(child->superview(), root);
  EXPECT_EQ(root->superview(), nullptr);
}

TEST_P(ViewContractTest, AViewSeenTwiceIsTheSameObject) {
  auto root = driver().makeContainer();
  auto child = driver().makeContainer();
  auto leaf = driver().makeLabel("leaf");
  root->addSubview(child);
  child->addSubview(leaf);

  // Reached down from the root and up from the leaf: one object, the same each time.
  platform::View* down = subviewsOf(*root).at(0);
  EXPECT_EQ(leaf->superview().get(), down);
  EXPECT_EQ(leaf->superview(), leaf->superview());
  EXPECT_EQ(subviewsOf(*down).at(0), leaf.get());
}

TEST_P(ViewContractTest, ADestroyedViewIsGoneOrReleased) {
  auto root = driver().makeContainer();
  auto child = driver().makeLabel("child");
  root->addSubview(child);
  std::weak_ptr<platform::View> weak = child;

  driver().destroy(child);

  auto held = weak.lock();
  EXPECT_TRUE(held == nullptr || held->isGone());
  EXPECT_TRUE(subviewsOf(*root).empty());
  EXPECT_FALSE(root->isGone());
}

TEST_P(ViewContractTest, TreesAreWalkedDepthFirstInOrder) {
  auto root = driver().makeContainer();
  auto header = driver().makeContainer();
  auto body = driver().makeContainer();
  root->addSubview(header);
  root->addSubview(body);
  header->addSubview(driver().makeLabel("Title"));
  header->addSubview(driver().makeLabel("Subtitle"));
  body->addSubview(driver().makeTextField("ann@example.com"));
  body->addSubview(driver().makeButton("Buy"));

  EXPECT_EQ(textsUnder(*root), (std::vector<std::string>{"Title", "Subtitle", "ann@example.com"}));
}

TEST_P(ViewContractTest, LabelsAndTextFieldsHaveATextProperty) {
  auto label = driver().makeLabel("Spring sale");
  auto field = driver().makeTextField("");

  EXPECT_TRUE(label->hasTextProperty());
  EXPECT_EQ(label->text(), "Spring sale");
  EXPECT_TRUE(field->hasTextProperty());
  EXPECT_EQ(field->text(), "");
}

TEST_P(ViewContractTest, ALabelWithoutTextHasTheTextPropertyButNoText) {
  auto label = driver().makeLabel(std::nullopt);

  EXPECT_TRUE(label->hasTextProperty());
  EXPECT_EQ(label->text(), std::nullopt);
}

TEST_P(ViewContractTest, PlainViewsAndButtonsHaveNoTextProperty) {
  auto plain = driver().makeContainer();
  auto button = driver().makeButton("Buy");

  EXPECT_FALSE(plain->hasTextProperty());
  EXPECT_EQ(plain->text(), std::nullopt);
  EXPECT_FALSE(button->hasTextProperty());
  EXPECT_EQ(button->text(), std::nullopt);
}

TEST_P(ViewContractTest, TypedTextIsTheFieldsText) {
  auto field = driver().makeTextField("");

  driver().typeText(*field, "Utrecht");

  EXPECT_EQ(field->text(), "Utrecht");
}

TEST_P(ViewContractTest, ClassNameAndDescriptionAreStable) {
  auto label = driver().makeLabel("Sale");

  EXPECT_FALSE(label->className().empty());
  EXPECT_FALSE(label->description().empty());
  EXPECT_EQ(label->description(), label->description());
}

TEST_P(ViewContractTest, OnlyControlsPickersAndWebViewsAnswerAsSuch) {
  auto label = driver().makeLabel("Sale");
  auto button = driver().makeButton("Buy");
  auto picker = driver().makePicker({{"S", "M"}});

  EXPECT_EQ(label->asControl(), nullptr);
  EXPECT_EQ(label->asPickerView(), nullptr);
  EXPECT_EQ(label->asWebView(), nullptr);
  ASSERT_NE(button->asControl(), nullptr);
  EXPECT_EQ(&button->asControl()->asView(), button.get());
  EXPECT_EQ(button->asPickerView(), nullptr);
  EXPECT_EQ(picker->asControl(), nullptr);
  ASSERT_NE(picker->asPickerView(), nullptr);
  EXPECT_EQ(&picker->asPickerView()->asView(), picker.get());
}

TEST_P(ViewContractTest, AddingAViewTakesItFromItsFormerSuperview) {
  auto first = driver().makeContainer();
  auto second = driver().makeContainer();
  auto child = driver().makeLabel("moving");
  first->addSubview(child);

  second->addSubview(child);

  EXPECT_TRUE(subviewsOf(*first).empty());
  EXPECT_EQ(subviewsOf(*second), (std::vector<platform::View*>{child.get()}));
  EXPECT_EQ(child->superview(), second);
}

TEST_P(ViewContractTest, AddingAViewThatWouldMakeACycleOrNullIsIgnored) {
  auto root = driver().makeContainer();
  auto child = driver().makeContainer();
  root->addSubview(child);

  child->addSubview(root);
  root->addSubview(root);
  root->addSubview(nullptr);

  EXPECT_EQ(root->superview(), nullptr);
  EXPECT_EQ(subviewsOf(*root), (std::vector<platform::View*>{child.get()}));
}

TEST_P(ViewContractTest, RemovingFromTheSuperviewDetaches) {
  auto root = driver().makeContainer();
  auto child = driver().makeLabel("gone soon");
  root->addSubview(child);

  child->removeFromSuperview();

  EXPECT_EQ(child->superview(), nullptr);
  EXPECT_TRUE(subviewsOf(*root).empty());
  EXPECT_FALSE(child->isGone());
}

// A toolkit may run these suites in a program of their own (toolkit_driver.h).
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ViewContractTest);

}  // namespace
}  // namespace pelorin::contract
