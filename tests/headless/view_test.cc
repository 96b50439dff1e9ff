#include "pelorin/headless/view.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pelorin::headless {
namespace {

TEST(ViewTest, NewViewHasNoSuperviewNoSubviewsAndNoTextProperty) {
  auto view = std::make_shared<View>();

  EXPECT_EQ(view->superview(), nullptr);
  EXPECT_TRUE(view->subviews().empty());
  EXPECT_FALSE(view->hasTextProperty());
  EXPECT_EQ(view->text(), std::nullopt);
}

TEST(ViewTest, AddSubviewAppendsAndSetsTheSuperview) {
  auto parent = std::make_shared<View>();
  auto first = std::make_shared<View>();
  auto second = std::make_shared<Label>("two");

  parent->addSubview(first);
  parent->addSubview(second);

  ASSERT_EQ(parent->subviews().size(), 2u);
  EXPECT_EQ(parent->subviews()[0], first);
  EXPECT_EQ(parent->subviews()[1], second);
  EXPECT_EQ(first->superview(), parent);
  EXPECT_TRUE(second->isDescendantOf(*parent));
}

TEST(ViewTest, SuperviewIsHeldWeakly) {
  auto parent = std::make_shared<View>();
  auto child = std::make_shared<View>();
  parent->addSubview(child);

  parent.reset();

  EXPECT_EQ(child->superview(), nullptr);
}

TEST(ViewTest, AddSubviewTakesTheViewFromItsFormerSuperview) {
  auto first = std::make_shared<View>();
  auto second = std::make_shared<View>();
  auto child = std::make_shared<View>();
  first->addSubview(child);

  second->addSubview(child);

  EXPECT_TRUE(first->subviews().empty());
  ASSERT_EQ(second->subviews().size(), 1u);
  EXPECT_EQ(child->superview(), second);
}

TEST(ViewTest, AddingItselfOrAnAncestorIsIgnored) {
  auto root = std::make_shared<View>();
  auto child = std::make_shared<View>();
  root->addSubview(child);

  child->addSubview(child);
  child->addSubview(root);
  child->addSubview(nullptr);

  EXPECT_TRUE(child->subviews().empty());
  EXPECT_EQ(root->superview(), nullptr);
}

TEST(ViewTest, RemoveFromSuperviewDetaches) {
  auto parent = std::make_shared<View>();
  auto child = std::make_shared<View>();
  parent->addSubview(child);

  child->removeFromSuperview();
  child->removeFromSuperview();  // a second time does nothing

  EXPECT_TRUE(parent->subviews().empty());
  EXPECT_EQ(child->superview(), nullptr);
}

TEST(ViewTest, LabelHasATextPropertyThatMayHoldNothing) {
  auto label = std::make_shared<Label>();
  EXPECT_TRUE(label->hasTextProperty());
  EXPECT_EQ(label->text(), std::nullopt);

  label->setText("Sale");

  EXPECT_EQ(label->text(), "Sale");
}

TEST(ViewTest, DescriptionNamesClassFrameIdentifierAndDetails) {
  auto view = std::make_shared<View>(Rect{{1, 2.5}, {320, 44}});
  auto label = std::make_shared<Label>("Sale");
  label->setAccessibilityIdentifier("price");
  auto empty = std::make_shared<Label>();
  empty->setHidden(true);

  EXPECT_EQ(view->description(), "<View; frame = (1 2.5; 320 44)>");
  EXPECT_EQ(label->description(),
            "<Label; frame = (0 0; 0 0); identifier = 'price'; text = 'Sale'>");
  EXPECT_EQ(empty->description(), "<Label; frame = (0 0; 0 0); hidden = YES; text = nil>");
}

TEST(ViewTest, BoundsAreTheFrameSizeAtTheOrigin) {
  View view(Rect{{10, 20}, {400, 800}});

  EXPECT_EQ(view.bounds(), (Rect{{0, 0}, {400, 800}}));
  EXPECT_EQ(view.bounds().width(), 400);
  EXPECT_EQ(view.bounds().height(), 800);
}

TEST(ViewTest, TranslatesAutoresizingMaskIntoConstraintsByDefault) {
  View view;
  EXPECT_TRUE(view.translatesAutoresizingMaskIntoConstraints());
  view.setTranslatesAutoresizingMaskIntoConstraints(false);
  EXPECT_FALSE(view.translatesAutoresizingMaskIntoConstraints());
}

TEST(ViewTest, ConstraintsAreRecordedWithTheirFormatAndViews) {
  auto host = std::make_shared<View>();
  auto background = std::make_shared<View>();
  host->addSubview(background);

  EXPECT_TRUE(host->addConstraints("H:|-0-[background]-0-|", {{"background", background}}));
  EXPECT_TRUE(host->addConstraints("V:|-0-[background]-0-|", {{"background", background}}));

  EXPECT_EQ(host->constraintFormats(),
            (std::vector<std::string>{"H:|-0-[background]-0-|", "V:|-0-[background]-0-|"}));
  EXPECT_EQ(host->constraints()[0].view("background"), background);
  EXPECT_EQ(host->constraints()[0].view("other"), nullptr);
  EXPECT_EQ(host->constraints()[0].viewNames(), (std::vector<std::string>{"background"}));
}

TEST(ViewTest, ConstraintNamesAreReadFromTheBracketsOfTheFormat) {
  LayoutConstraint constraint("V:|[topGuide]-80-[lightbox]-80-|", {});
  LayoutConstraint sized("H:[closeButton(44)]-10-|", {});

  EXPECT_EQ(constraint.namesInFormat(), (std::vector<std::string>{"topGuide", "lightbox"}));
  EXPECT_EQ(sized.namesInFormat(), (std::vector<std::string>{"closeButton"}));
}

TEST(ViewTest, ConstraintNamingAViewItWasNotGivenIsRejected) {
  auto host = std::make_shared<View>();
  auto button = std::make_shared<View>();

  EXPECT_FALSE(host->addConstraints("H:[closeButton]-10-|", {{"button", button}}));
  EXPECT_FALSE(host->addConstraints("", {}));

  EXPECT_TRUE(host->constraints().empty());
}

TEST(ViewTest, ConstraintHoldsItsViewsWeakly) {
  auto button = std::make_shared<View>();
  LayoutConstraint constraint("H:[button]-10-|", {{"button", button}});
  EXPECT_TRUE(constraint.references(*button));

  button.reset();

  EXPECT_EQ(constraint.view("button"), nullptr);
  EXPECT_FALSE(constraint.isValid());
}

TEST(ViewTest, RemovingAViewDropsTheAncestorConstraintsThatReferToItOrItsSubviews) {
  auto host = std::make_shared<View>();
  auto lightbox = std::make_shared<View>();
  auto close = std::make_shared<View>();
  auto other = std::make_shared<View>();
  host->addSubview(lightbox);
  host->addSubview(other);
  lightbox->addSubview(close);
  host->addConstraints("H:|-40-[lightbox]-40-|", {{"lightbox", lightbox}});
  host->addConstraints("H:|[other]|", {{"other", other}});
  host->addConstraints("V:|-10-[closeButton]", {{"closeButton", close}});
  lightbox->addConstraints("H:[closeButton]-10-|", {{"closeButton", close}});

  lightbox->removeFromSuperview();

  EXPECT_EQ(host->constraintFormats(), (std::vector<std::string>{"H:|[other]|"}));
  // The removed view keeps the constraints among its own subviews.
  EXPECT_EQ(lightbox->constraintFormats(), (std::vector<std::string>{"H:[closeButton]-10-|"}));
}

TEST(ViewTest, TapLetsTheTapRecognisersOfLiveTargetsAct) {
  auto view = std::make_shared<View>();
  auto target = std::make_shared<int>(0);
  int taps = 0;
  auto recognizer =
      std::make_shared<TapGestureRecognizer>(target, [&](TapGestureRecognizer& sender) {
        EXPECT_EQ(sender.view(), view);
        ++taps;
      });
  view->addGestureRecognizer(recognizer);

  view->tap();
  view->tap();
  target.reset();
  view->tap();

  EXPECT_EQ(taps, 2);
}

TEST(ViewTest, DisabledRecogniserAndHiddenViewIgnoreTaps) {
  auto view = std::make_shared<View>();
  auto target = std::make_shared<int>(0);
  int taps = 0;
  auto recognizer =
      std::make_shared<TapGestureRecognizer>(target, [&](TapGestureRecognizer&) { ++taps; });
  view->addGestureRecognizer(recognizer);

  recognizer->setEnabled(false);
  view->tap();
  recognizer->setEnabled(true);
  view->setHidden(true);
  view->tap();

  EXPECT_EQ(taps, 0);
}

TEST(ViewTest, GestureRecogniserBelongsToOneViewAtATime) {
  auto first = std::make_shared<View>();
  auto second = std::make_shared<View>();
  auto recognizer = std::make_shared<TapGestureRecognizer>();

  first->addGestureRecognizer(recognizer);
  second->addGestureRecognizer(recognizer);

  EXPECT_TRUE(first->gestureRecognizers().empty());
  ASSERT_EQ(second->gestureRecognizers().size(), 1u);
  EXPECT_EQ(recognizer->view(), second);
  second->removeGestureRecognizer(*recognizer);
  EXPECT_EQ(recognizer->view(), nullptr);
}

TEST(ViewTest, TapActionMayRemoveItsViewFromTheTree) {
  auto parent = std::make_shared<View>();
  auto background = std::make_shared<View>();
  parent->addSubview(background);
  auto target = std::make_shared<int>(0);
  background->addGestureRecognizer(std::make_shared<TapGestureRecognizer>(
      target, [&](TapGestureRecognizer& sender) { sender.view()->removeFromSuperview(); }));
  std::weak_ptr<View> weak = background;
  background.reset();  // only the tree owns it now

  weak.lock()->tap();

  EXPECT_TRUE(parent->subviews().empty());
  EXPECT_TRUE(weak.expired());
}

// A view of another toolkit stands for a widget the headless toolkit cannot hold.
class ForeignView : public platform::View {
 public:
  bool isGone() const override { return false; }
  std::string_view className() const override { return "Foreign"; }
  std::string description() const override { return "<Foreign>"; }
  std::shared_ptr<platform::View> superview() const override { return nullptr; }
  void forEachSubview(SubviewVisitor /*visit*/) const override {}
  bool hasTextProperty() const override { return false; }
  std::optional<std::string> text() const override { return std::nullopt; }
  Rect bounds() const override { return {}; }
  void addSubview(const std::shared_ptr<platform::View>& /*view*/) override {}
  void removeFromSuperview() override {}
  bool addConstraint(LayoutConstraint /*constraint*/) override { return false; }
  void setBackgroundColor(Color /*color*/) override {}
};

TEST(ViewTest, AViewOfAnotherToolkitIsNotAdded) {
  auto parent = std::make_shared<View>();

  parent->addSubview(std::make_shared<ForeignView>());

  EXPECT_TRUE(parent->subviews().empty());
}

TEST(ViewTest, SubviewsAreVisitedInOrderThroughTheInterface) {
  auto parent = std::make_shared<View>();
  auto first = std::make_shared<Label>("first");
  auto second = std::make_shared<View>();
  parent->addSubview(first);
  parent->addSubview(second);

  std::vector<platform::View*> visited;
  parent->forEachSubview([&](platform::View& view) { visited.push_back(&view); });

  EXPECT_EQ(visited, (std::vector<platform::View*>{first.get(), second.get()}));
}

}  // namespace
}  // namespace pelorin::headless
