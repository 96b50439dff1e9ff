// The Qt toolkit beyond the contract suites: handles' identity across a widget's
// destruction, texts, the control mapping's corners (programmatic changes, keyboard,
// tab bars, radio groups, focus moving between windows), screens with outlets from Qt
// properties, the current screen, alerts, addresses and the screen.
#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDesktopServices>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTabBar>
#include <QTest>
#include <QTextEdit>
#include <QTimeEdit>
#include <QUrl>
#include <QVBoxLayout>
#include <QWidget>

#include "contract/event_log.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/qt/main_thread.h"
#include "pelorin/qt/toolkit.h"
#include "pelorin/qt/ui.h"
#include "qt/qt_application.h"
#include "support/test_platform.h"

namespace pelorin::qt {
namespace {

using contract::EventLog;
using platform::ControlKind;
using Events = std::vector<std::string>;
using testing::processQtEvents;

// A screen declaring its outlets as Qt properties, as an app's Designer form would.
class CheckoutPage : public QWidget {
  Q_OBJECT
  Q_PROPERTY(QPushButton* buyButton READ buyButton)
  Q_PROPERTY(QLabel* missingLabel READ missingLabel)
  Q_PROPERTY(QString campaign READ campaign)
  Q_PROPERTY(int quantity READ quantity)

 public:
  CheckoutPage() {
    setWindowTitle(QStringLiteral("Checkout"));
    _buy = new QPushButton(QStringLiteral("Buy"), this);
    _price = new QLabel(QStringLiteral("20 EUR"), this);
    _price->setObjectName(QStringLiteral("priceLabel"));
    // A child named like a property: the property wins.
    _decoy = new QPushButton(QStringLiteral("Decoy"), this);
    _decoy->setObjectName(QStringLiteral("buyButton"));
  }

  QPushButton* buyButton() const { return _buy; }
  QLabel* missingLabel() const { return nullptr; }
  QString campaign() const { return QStringLiteral("spring"); }
  int quantity() const { return 2; }

  QPushButton* _buy;
  QLabel* _price;
  QPushButton* _decoy;
};

// Receives the addresses QDesktopServices opens for the scheme "pelorin-test".
class UrlReceiver : public QObject {
  Q_OBJECT

 public:
  std::vector<QString> urls;

 public slots:
  void open(const QUrl& url) { urls.push_back(url.toString()); }
};

platform::Control& controlOf(QWidget* widget) {
  platform::Control* control = viewFor(widget)->asControl();
  if (control == nullptr) throw std::logic_error("not a control");
  return *control;
}

void showActive(QWidget& widget) {
  widget.window()->show();
  QT_WARNING_PUSH
  QT_WARNING_DISABLE_DEPRECATED
  QApplication::setActiveWindow(widget.window());
  QT_WARNING_POP
}

// --- Views

TEST(QtViewTest, TheSameWidgetHasTheSameHandle) {
  QWidget widget;
  auto first = viewFor(&widget);
  auto second = viewFor(&widget);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_FALSE(first->isGone());
  EXPECT_EQ(viewFor(nullptr), nullptr);
}

TEST(QtViewTest, AWidgetAtTheAddressOfADestroyedOneGetsANewHandle) {
  // Both widgets live in the same storage, so the second has the first one's address.
  alignas(QLabel) unsigned char storage[sizeof(QLabel)];
  auto* first = new (storage) QLabel(QStringLiteral("first"));
  auto firstHandle = viewFor(first);
  auto* firstButton = new QPushButton(first);
  auto buttonHandle = viewFor(firstButton);
  first->~QLabel();
  EXPECT_TRUE(firstHandle->isGone());
  EXPECT_TRUE(buttonHandle->isGone());

  auto* second = new (storage) QLabel(QStringLiteral("second"));
  auto secondHandle = viewFor(second);
  EXPECT_NE(secondHandle, firstHandle);
  EXPECT_FALSE(secondHandle->isGone());
  EXPECT_EQ(secondHandle->text(), "second");
  EXPECT_TRUE(firstHandle->isGone());
  second->~QLabel();
}

TEST(QtViewTest, AGoneViewAnswersNothingAndIgnoresChanges) {
  auto* root = new QWidget();
  auto* label = new QLabel(QStringLiteral("Sale"), root);
  auto handle = viewFor(label);
  auto rootHandle = viewFor(root);
  auto other = std::make_unique<QWidget>();
  auto otherHandle = viewFor(other.get());
  delete root;

  EXPECT_TRUE(handle->isGone());
  EXPECT_TRUE(rootHandle->isGone());
  EXPECT_EQ(handle->superview(), nullptr);
  EXPECT_EQ(handle->text(), std::nullopt);
  EXPECT_EQ(handle->className(), "QLabel");
  EXPECT_EQ(handle->description(), "<QLabel; frame = (0 0; 0 0); gone = YES>");
  EXPECT_EQ(handle->bounds(), platform::Rect{});
  rootHandle->addSubview(otherHandle);
  otherHandle->addSubview(rootHandle);
  EXPECT_EQ(other->parentWidget(), nullptr);
  EXPECT_FALSE(rootHandle->addConstraints("H:|[other]|", {{"other", otherHandle}}));
}

TEST(QtViewTest, DescriptionGivesClassFrameNameAndText) {
  QWidget root;
  auto* label = new QLabel(QStringLiteral("Sale"), &root);
  label->setObjectName(QStringLiteral("price"));
  label->setGeometry(10, 20, 200, 21);
  auto* hidden = new QWidget(&root);
  hidden->setGeometry(0, 0, 5, 6);
  hidden->hide();

  EXPECT_EQ(viewFor(label)->description(),
            "<QLabel; frame = (10 20; 200 21); name = 'price'; text = 'Sale'>");
  EXPECT_EQ(viewFor(hidden)->description(), "<QWidget; frame = (0 0; 5 6); hidden = YES>");
  auto* email = new QLineEdit(QStringLiteral("ann@example.com"), &root);
  email->setGeometry(0, 30, 100, 20);
  auto* password = new QLineEdit(QStringLiteral("s3cret"), &root);
  password->setGeometry(0, 60, 100, 20);
  password->setEchoMode(QLineEdit::Password);
  EXPECT_EQ(viewFor(email)->description(),
            "<QLineEdit; frame = (0 30; 100 20); text = 'ann@example.com'>");
  EXPECT_EQ(viewFor(password)->description(), "<QLineEdit; frame = (0 60; 100 20); secure = YES>");
  EXPECT_EQ(viewFor(label)->bounds(), (platform::Rect{{0, 0}, {200, 21}}));
}

TEST(QtViewTest, LabelsAndEditorsHaveTextOtherWidgetsNot) {
  QWidget root;
  auto* rich = new QLabel(QStringLiteral("<b>Sale</b> now"), &root);
  auto* plainMarkup = new QLabel(QStringLiteral("<b>Sale</b>"), &root);
  plainMarkup->setTextFormat(Qt::PlainText);
  auto* editor = new QTextEdit(&root);
  editor->setPlainText(QStringLiteral("Deliver to\nUtrecht"));
  auto* plainEditor = new QPlainTextEdit(QStringLiteral("Gift"), &root);
  auto* password = new QLineEdit(QStringLiteral("s3cret"), &root);
  password->setEchoMode(QLineEdit::Password);
  auto* button = new QPushButton(QStringLiteral("Buy"), &root);
  auto* box = new QCheckBox(QStringLiteral("Newsletter"), &root);

  EXPECT_EQ(viewFor(rich)->text(), "Sale now");
  EXPECT_EQ(viewFor(plainMarkup)->text(), "<b>Sale</b>");
  EXPECT_EQ(viewFor(editor)->text(), "Deliver to\nUtrecht");
  EXPECT_EQ(viewFor(plainEditor)->text(), "Gift");
  EXPECT_EQ(viewFor(password)->text(), "s3cret");
  EXPECT_FALSE(viewFor(button)->hasTextProperty());
  EXPECT_FALSE(viewFor(box)->hasTextProperty());
  EXPECT_FALSE(viewFor(&root)->hasTextProperty());
  EXPECT_EQ(viewFor(editor)->asControl(), nullptr);
}

TEST(QtViewTest, WindowsParentedToAWidgetAreNotItsSubviews) {
  QWidget root;
  auto* child = new QWidget(&root);
  auto* dialog = new QDialog(&root);
  std::vector<platform::View*> subviews;

  viewFor(&root)->forEachSubview([&](platform::View& view) { subviews.push_back(&view); });

  EXPECT_EQ(subviews, (std::vector<platform::View*>{viewFor(child).get()}));
  EXPECT_EQ(viewFor(dialog)->superview(), nullptr);
}

TEST(QtViewTest, ControlsPickersAndEditorsShowNoInnerWidgets) {
  QWidget root;
  auto* layout = new QVBoxLayout(&root);
  auto* spinBox = new QSpinBox(&root);
  auto* field = new QLineEdit(QStringLiteral("ann"), &root);
  field->setClearButtonEnabled(true);
  auto* editor = new QTextEdit(QStringLiteral("Gift"), &root);
  auto* combo = new QComboBox(&root);
  combo->setEditable(true);
  combo->addItem(QStringLiteral("S"));
  for (QWidget* widget : std::initializer_list<QWidget*>{spinBox, field, editor, combo}) {
    layout->addWidget(widget);
    ASSERT_FALSE(widget->children().isEmpty());
  }
  std::vector<std::string> texts;
  std::vector<platform::View*> pending{viewFor(&root).get()};
  while (!pending.empty()) {
    platform::View* view = pending.back();
    pending.pop_back();
    if (auto text = view->text()) texts.push_back(*text);
    view->forEachSubview([&](platform::View& subview) { pending.push_back(&subview); });
  }

  // The spin box's and the combo box's inner line edits are not text fields of the screen.
  std::sort(texts.begin(), texts.end());
  EXPECT_EQ(texts, (std::vector<std::string>{"Gift", "ann"}));
}

TEST(QtViewTest, BackgroundColourFillsTheWidget) {
  QWidget widget;

  viewFor(&widget)->setBackgroundColor({1, 0, 0, 1});

  EXPECT_TRUE(widget.autoFillBackground());
  EXPECT_EQ(widget.palette().color(QPalette::Window), QColor(255, 0, 0));
}

// --- Controls

TEST(QtControlTest, EachWidgetClassHasItsKind) {
  QWidget root;
  auto* toggle = new QPushButton(QStringLiteral("Bold"), &root);
  toggle->setCheckable(true);
  auto* tabs = new QTabBar(&root);

  EXPECT_EQ(controlOf(toggle).kind(), ControlKind::kSwitch);
  EXPECT_EQ(controlOf(new QRadioButton(&root)).kind(), ControlKind::kSwitch);
  EXPECT_EQ(controlOf(new QDoubleSpinBox(&root)).kind(), ControlKind::kStepper);
  EXPECT_EQ(controlOf(new QTimeEdit(&root)).kind(), ControlKind::kDatePicker);
  EXPECT_EQ(controlOf(tabs).kind(), ControlKind::kSegmentedControl);
  EXPECT_EQ(viewFor(new QLabel(&root))->asControl(), nullptr);
}

TEST(QtControlTest, TheAppsOwnChangesSendNoEvents) {
  QWidget root;
  auto* box = new QCheckBox(QStringLiteral("Newsletter"), &root);
  auto* slider = new QSlider(Qt::Horizontal, &root);
  auto* spinBox = new QSpinBox(&root);
  auto* date = new QDateEdit(QDate(2026, 1, 1), &root);
  auto* field = new QLineEdit(&root);
  auto* tabs = new QTabBar(&root);
  tabs->addTab(QStringLiteral("A"));
  tabs->addTab(QStringLiteral("B"));
  std::vector<std::unique_ptr<EventLog>> logs;
  for (QWidget* widget : std::initializer_list<QWidget*>{box, slider, spinBox, date, field, tabs}) {
    logs.push_back(std::make_unique<EventLog>(controlOf(widget)));
  }

  box->setChecked(true);
  box->toggle();
  slider->setValue(40);
  spinBox->setValue(3);
  spinBox->stepUp();
  date->setDate(QDate(2026, 2, 1));
  field->setText(QStringLiteral("typed by the app"));
  tabs->setCurrentIndex(1);
  processQtEvents();

  for (const auto& log : logs) EXPECT_EQ(log->events(), Events{});
}

TEST(QtControlTest, ATabBarIsASegmentedControl) {
  QTabBar tabs;
  tabs.addTab(QStringLiteral("Card"));
  tabs.addTab(QStringLiteral("Invoice"));
  showActive(tabs);
  EventLog log(controlOf(&tabs));

  QTest::mouseClick(&tabs, Qt::LeftButton, {}, tabs.tabRect(1).center());
  EXPECT_EQ(log.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
  log.clear();
  QTest::mouseClick(&tabs, Qt::LeftButton, {}, tabs.tabRect(1).center());

  EXPECT_EQ(log.events(), (Events{"touch-down", "touch-up-inside"}));
  EXPECT_EQ(tabs.currentIndex(), 1);
}

TEST(QtControlTest, KeyboardChangesSendValueChangedOnly) {
  QWidget root;
  auto* spinBox = new QSpinBox(&root);
  auto* slider = new QSlider(Qt::Horizontal, &root);
  showActive(root);
  EventLog stepperLog(controlOf(spinBox));
  EventLog sliderLog(controlOf(slider));

  QTest::keyClick(spinBox, Qt::Key_Up);
  QTest::keyClick(slider, Qt::Key_Right);
  processQtEvents();
  spinBox->setValue(7);  // the app's own change, after the key

  EXPECT_EQ(stepperLog.events(), (Events{"value-changed"}));
  EXPECT_EQ(sliderLog.events(), (Events{"value-changed"}));
  EXPECT_EQ(spinBox->value(), 7);
}

TEST(QtControlTest, TheCheckedRadioButtonOfAGroupCannotBeUnchecked) {
  QWidget root;
  auto* layout = new QVBoxLayout(&root);
  auto* group = new QButtonGroup(&root);
  auto* card = new QRadioButton(QStringLiteral("Card"), &root);
  auto* invoice = new QRadioButton(QStringLiteral("Invoice"), &root);
  for (QRadioButton* button : {card, invoice}) {
    layout->addWidget(button);
    group->addButton(button);
  }
  showActive(root);
  EventLog groupLog(controlOf(&root));
  EventLog cardLog(controlOf(card));

  QTest::mouseClick(card, Qt::LeftButton);
  EXPECT_EQ(groupLog.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
  EXPECT_EQ(cardLog.events(), (Events{"touch-down", "value-changed", "touch-up-inside"}));
  groupLog.clear();
  cardLog.clear();
  QTest::mouseClick(card, Qt::LeftButton);

  EXPECT_EQ(groupLog.events(), (Events{"touch-down", "touch-up-inside"}));
  EXPECT_EQ(cardLog.events(), (Events{"touch-down", "touch-up-inside"}));
  EXPECT_EQ(controlOf(&root).kind(), ControlKind::kSegmentedControl);
}

TEST(QtControlTest, SwitchingWindowsDoesNotEndEditing) {
  QWidget first;
  auto* field = new QLineEdit(&first);
  QWidget second;
  auto* other = new QLineEdit(&second);
  showActive(first);
  EventLog log(controlOf(field));

  QTest::mouseClick(field, Qt::LeftButton);
  QTest::keyClicks(field, QStringLiteral("a"));
  showActive(second);
  showActive(first);
  EXPECT_EQ(log.events(), (Events{"editing-did-begin", "editing-changed"}));
  QTest::mouseClick(other, Qt::LeftButton);  // a window that is not active: no focus moves
  field->clearFocus();

  EXPECT_EQ(log.events(), (Events{"editing-did-begin", "editing-changed", "editing-did-end"}));
}

TEST(QtControlTest, AnActionMayDestroyItsWidget) {
  auto* button = new QPushButton(QStringLiteral("Close"));
  auto handle = viewFor(button);
  auto owner = std::make_shared<int>(0);
  int runs = 0;
  handle->asControl()->addTarget(
      owner,
      [&](platform::Control& sender) {
        ++runs;
        delete button;
        EXPECT_TRUE(sender.asView().isGone());
      },
      platform::ControlEvents::kTouchUpInside);

  QTest::mouseClick(button, Qt::LeftButton);

  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(handle->isGone());
}

TEST(QtControlTest, AFocusedFieldBeingDestroyedSendsNothing) {
  QWidget window;
  auto* field = new QLineEdit(&window);
  auto handle = viewFor(field);
  showActive(window);
  QTest::mouseClick(field, Qt::LeftButton);
  QTest::keyClicks(field, QStringLiteral("a"));
  ASSERT_TRUE(field->hasFocus());
  EventLog log(*handle->asControl());

  delete field;

  EXPECT_EQ(log.events(), Events{});
  EXPECT_TRUE(handle->isGone());
}

TEST(QtControlTest, AWidgetDestroyedByAnActionSendsNoMoreEvents) {
  auto* box = new QCheckBox(QStringLiteral("Newsletter"));
  auto handle = viewFor(box);
  EventLog log(*handle->asControl());
  auto owner = std::make_shared<int>(0);
  handle->asControl()->addTarget(
      owner, [&](platform::Control& /*sender*/) { delete box; },
      platform::ControlEvents::kValueChanged);
  showActive(*box);

  QTest::mouseClick(box, Qt::LeftButton);

  EXPECT_TRUE(handle->isGone());
  EXPECT_EQ(log.events(), (Events{"touch-down", "value-changed"}));
}

// --- Screens

TEST(QtScreenTest, OutletsAreQtPropertiesHoldingWidgetsThenNamedChildren) {
  CheckoutPage page;
  auto screen = markScreen(&page);

  EXPECT_EQ(screen->viewForProperty("buyButton"), viewFor(page._buy));
  EXPECT_EQ(screen->viewForProperty("priceLabel"), viewFor(page._price));
  auto missing = screen->valueForProperty("missingLabel");
  ASSERT_TRUE(missing.has_value());
  EXPECT_TRUE(std::holds_alternative<std::monostate>(*missing));
  auto campaign = screen->valueForProperty("campaign");
  ASSERT_TRUE(campaign.has_value());
  EXPECT_EQ(std::get<std::string>(*campaign), "spring");
  auto quantity = screen->valueForProperty("quantity");
  ASSERT_TRUE(quantity.has_value());
  EXPECT_TRUE(std::holds_alternative<std::monostate>(*quantity));
  // QWidget's own properties are not the screen's.
  EXPECT_FALSE(screen->respondsToProperty("enabled"));
  EXPECT_FALSE(screen->respondsToProperty("windowTitle"));
  EXPECT_FALSE(screen->respondsToProperty("objectName"));
  EXPECT_EQ(screen->title(), "Checkout");
}

TEST(QtScreenTest, ScreensAreMarkedOnceAndGoWithTheirWidget) {
  auto* widget = new QWidget();
  widget->setWindowTitle(QStringLiteral("Home"));
  EXPECT_EQ(screenFor(widget), nullptr);
  auto screen = markScreen(widget);

  EXPECT_EQ(markScreen(widget), screen);
  EXPECT_EQ(screenFor(widget), screen);
  EXPECT_EQ(markScreen(nullptr), nullptr);
  delete widget;

  EXPECT_TRUE(screen->isGone());
  EXPECT_EQ(screen->title(), std::nullopt);
  EXPECT_EQ(screen->rootView(), nullptr);
  EXPECT_EQ(screen->valueForProperty("view"), std::nullopt);
}

TEST(QtScreenTest, TheParentIsTheClosestMarkedAncestor) {
  QWidget window;
  auto* stack = new QStackedWidget(&window);
  auto* page = new QWidget(stack);
  stack->addWidget(page);
  auto outer = markScreen(&window);
  auto inner = markScreen(page);

  EXPECT_EQ(inner->parentViewController(), outer);
  EXPECT_EQ(outer->parentViewController(), nullptr);
}

TEST(QtScreenTest, TheKeyWindowShowsTheCurrentPageOfAStack) {
  QtUi ui;
  EXPECT_EQ(ui.keyWindowRootViewController(), nullptr);
  QWidget window;
  auto* layout = new QVBoxLayout(&window);
  auto* stack = new QStackedWidget(&window);
  layout->addWidget(stack);
  auto* home = new QWidget();
  auto* product = new QWidget();
  stack->addWidget(home);
  stack->addWidget(product);
  auto homeScreen = markScreen(home);
  auto productScreen = markScreen(product);
  showActive(window);

  EXPECT_EQ(ui.keyWindowRootViewController(), homeScreen);
  stack->setCurrentWidget(product);
  EXPECT_EQ(ui.keyWindowRootViewController(), productScreen);
  auto windowScreen = markScreen(&window);
  EXPECT_EQ(ui.keyWindowRootViewController(), productScreen);  // the deepest shown
  stack->hide();
  EXPECT_EQ(ui.keyWindowRootViewController(), windowScreen);
}

TEST(QtScreenTest, TheAppsRootScreenComesFirstWhileItLives) {
  QtUi ui;
  QWidget window;
  auto windowScreen = markScreen(&window);
  showActive(window);
  auto* chosen = new QWidget();

  ui.setRootScreen(chosen);
  EXPECT_EQ(ui.keyWindowRootViewController(), screenFor(chosen));
  delete chosen;

  EXPECT_EQ(ui.keyWindowRootViewController(), windowScreen);
}

TEST(QtScreenTest, TheCurrentScreenIsTheClientsContext) {
  testing::TestPlatform test;
  CheckoutPage page;

  setCurrentScreen(&page);

  EXPECT_EQ(PelorinClient::getInstance().getView("#buyButton"), viewFor(page._buy));
  EXPECT_EQ(PelorinClient::getInstance().getView("#priceLabel"), viewFor(page._price));
}

TEST(QtScreenTest, FollowingMakesTheScreenShownInTheActiveWindowCurrent) {
  testing::TestPlatform test;
  struct Following {
    Following() { setFollowsShownScreens(true); }
    ~Following() { setFollowsShownScreens(false); }
  } following;
  QWidget window;
  auto* layout = new QVBoxLayout(&window);
  auto* stack = new QStackedWidget(&window);
  layout->addWidget(stack);
  auto* home = new QWidget();
  auto* product = new QWidget();
  stack->addWidget(home);
  stack->addWidget(product);
  auto* sale = new QPushButton(QStringLiteral("Sale"), home);
  sale->setObjectName(QStringLiteral("saleButton"));
  auto* buy = new QPushButton(QStringLiteral("Buy"), product);
  buy->setObjectName(QStringLiteral("buyButton"));
  markScreen(&window);
  markScreen(home);
  markScreen(product);
  QWidget other;
  auto* share = new QPushButton(QStringLiteral("Share"), &other);
  share->setObjectName(QStringLiteral("shareButton"));
  markScreen(&other);
  auto& client = PelorinClient::getInstance();

  showActive(window);
  EXPECT_EQ(client.getView("#saleButton"), viewFor(sale));  // the deepest screen shown
  stack->setCurrentWidget(product);
  EXPECT_EQ(client.getView("#buyButton"), viewFor(buy));
  EXPECT_EQ(client.getView("#saleButton"), nullptr);
  showActive(other);
  EXPECT_EQ(client.getView("#shareButton"), viewFor(share));
  stack->setCurrentWidget(home);  // in a window that is not the active one
  EXPECT_EQ(client.getView("#shareButton"), viewFor(share));
  showActive(window);
  EXPECT_EQ(client.getView("#saleButton"), viewFor(sale));
  setFollowsShownScreens(false);
  stack->setCurrentWidget(product);

  EXPECT_EQ(client.getView("#saleButton"), viewFor(sale));
}

// --- The Ui service

TEST(QtUiTest, AnAlertIsAMessageBoxWhoseButtonsRunTheirHandlers) {
  QtUi ui;
  EXPECT_FALSE(ui.presentAlert({"Connected", "Username: ann", {{"OK"}}}));
  QWidget window;
  markScreen(&window);
  showActive(window);
  std::vector<std::string> ran;

  ASSERT_TRUE(ui.presentAlert(
      {"Delete?",
       "The list goes too.",
       {{"Cancel", platform::AlertActionStyle::kCancel, [&] { ran.emplace_back("cancel"); }},
        {"Delete", platform::AlertActionStyle::kDestructive,
         [&] { ran.emplace_back("delete"); }}}}));
  auto boxes = window.findChildren<QMessageBox*>();
  ASSERT_EQ(boxes.size(), 1);
  QMessageBox* box = boxes.at(0);
  EXPECT_EQ(box->text(), "Delete?");
  EXPECT_EQ(box->informativeText(), "The list goes too.");
  EXPECT_TRUE(box->isVisible());
  QPushButton* deleteButton = nullptr;
  for (QAbstractButton* button : box->buttons()) {
    if (button->text() == "Delete") deleteButton = qobject_cast<QPushButton*>(button);
  }
  ASSERT_NE(deleteButton, nullptr);
  EXPECT_EQ(box->buttonRole(deleteButton), QMessageBox::DestructiveRole);
  EXPECT_TRUE(ran.empty());

  QTest::mouseClick(deleteButton, Qt::LeftButton);
  EXPECT_FALSE(box->isVisible());
  EXPECT_TRUE(ran.empty());  // once the box is gone
  processQtEvents();

  EXPECT_EQ(ran, (std::vector<std::string>{"delete"}));
  EXPECT_TRUE(window.findChildren<QMessageBox*>().isEmpty());
}

TEST(QtUiTest, AddressesOpenThroughDesktopServices) {
  QtUi ui;
  UrlReceiver receiver;
  QDesktopServices::setUrlHandler(QStringLiteral("pelorin-test"), &receiver, "open");

  ui.openURL("pelorin-test://shop/sale?id=7");

  QDesktopServices::unsetUrlHandler(QStringLiteral("pelorin-test"));
  EXPECT_EQ(receiver.urls, (std::vector<QString>{QStringLiteral("pelorin-test://shop/sale?id=7")}));
}

TEST(QtUiTest, TheScreenIsThePrimaryQScreen) {
  QtUi ui;
  const QScreen* screen = QGuiApplication::primaryScreen();
  ASSERT_NE(screen, nullptr);

  EXPECT_EQ(ui.screenSize(), (platform::Size{static_cast<double>(screen->size().width()),
                                             static_cast<double>(screen->size().height())}));
  EXPECT_GT(ui.screenSize().width, 0);
  EXPECT_EQ(ui.screenScale(), screen->devicePixelRatio());
}

TEST(QtUiTest, InstallPutsQtsMainThreadAndUiIntoThePlatform) {
  Platform platform;

  install(platform);

  EXPECT_NE(dynamic_cast<QtMainThread*>(&platform.mainThread()), nullptr);
  EXPECT_NE(dynamic_cast<QtUi*>(&platform.ui()), nullptr);
  EXPECT_TRUE(platform.mainThread().isMainThread());
}

}  // namespace
}  // namespace pelorin::qt

#include "qt_toolkit_test.moc"
