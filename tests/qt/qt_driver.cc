#include "qt/qt_driver.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStringListModel>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QStyleOptionSpinBox>
#include <QTest>

#include "pelorin/qt/toolkit.h"
#include "qt/qt_application.h"
#include "qt/view.h"
#include "qt/view_controller.h"
#include "qt/view_registry.h"

namespace pelorin::testing {

namespace {

// The slider and spin box with their style options in reach, to find the handle and the
// arrows the user clicks.
class Slider final : public QSlider {
 public:
  using QSlider::initStyleOption;
  using QSlider::QSlider;
};

class SpinBox final : public QSpinBox {
 public:
  using QSpinBox::initStyleOption;
  using QSpinBox::QSpinBox;
};

constexpr int kSliderSteps = 1000;  // the slider's 0 to 1 in Qt's integer steps

template <typename T>
T& as(QWidget& widget) {
  auto* typed = qobject_cast<T*>(&widget);
  if (typed == nullptr) throw std::logic_error("not a widget of the expected class");
  return *typed;
}

// Moves the current row of a combo box or list view to `row` with the arrow keys.
void pickWithKeys(QWidget& component, int current, int row) {
  for (; current < row; ++current) QTest::keyClick(&component, Qt::Key_Down);
  for (; current > row; --current) QTest::keyClick(&component, Qt::Key_Up);
}

}  // namespace

QtDriver::QtDriver() = default;

QtDriver::~QtDriver() {
  for (const auto& widget : _made) {
    if (widget && widget->parentWidget() == nullptr) delete widget.data();
  }
  processQtEvents();
}

std::shared_ptr<platform::View> QtDriver::adopt(QWidget* widget) {
  _made.emplace_back(widget);
  return qt::viewFor(widget);
}

QWidget& QtDriver::widgetOf(platform::View& view) {
  qt::QtView* qtView = qt::asQtView(&view);
  if (qtView == nullptr || qtView->widget() == nullptr) throw std::logic_error("no widget");
  return *qtView->widget();
}

QWidget& QtDriver::widgetOf(platform::ViewController& screen) {
  auto* controller = dynamic_cast<qt::QtViewController*>(&screen);
  if (controller == nullptr || controller->widget() == nullptr) {
    throw std::logic_error("no screen widget");
  }
  return *controller->widget();
}

void QtDriver::showActive(QWidget& widget) {
  QWidget* window = widget.window();
  if (!window->isVisible()) window->show();
  QT_WARNING_PUSH
  QT_WARNING_DISABLE_DEPRECATED
  QApplication::setActiveWindow(window);
  QT_WARNING_POP
}

std::shared_ptr<platform::View> QtDriver::makeContainer() { return adopt(new QWidget()); }

std::shared_ptr<platform::View> QtDriver::makeLabel(std::optional<std::string> text) {
  return adopt(new QLabel(text ? QString::fromStdString(*text) : QString()));
}

std::shared_ptr<platform::View> QtDriver::makeTextField(std::string text) {
  return adopt(new QLineEdit(QString::fromStdString(text)));
}

std::shared_ptr<platform::View> QtDriver::makeButton(std::string title) {
  return adopt(new QPushButton(QString::fromStdString(title)));
}

std::shared_ptr<platform::View> QtDriver::makeSwitch() {
  return adopt(new QCheckBox(QStringLiteral("Newsletter")));
}

std::shared_ptr<platform::View> QtDriver::makeSlider(bool continuous) {
  auto* slider = new Slider(Qt::Horizontal);
  slider->setRange(0, kSliderSteps);
  slider->setValue(0);
  slider->setTracking(continuous);
  slider->resize(300, slider->sizeHint().height());
  return adopt(slider);
}

std::shared_ptr<platform::View> QtDriver::makeStepper() {
  auto* spinBox = new SpinBox();
  spinBox->setRange(0, 10);
  spinBox->setSingleStep(1);
  spinBox->setValue(0);
  return adopt(spinBox);
}

// Two checkable buttons of an exclusive QButtonGroup, none checked.
std::shared_ptr<platform::View> QtDriver::makeSegmentedControl() {
  auto* container = new QWidget();
  auto* layout = new QHBoxLayout(container);
  auto* group = new QButtonGroup(container);
  for (const char* title : {"A", "B"}) {
    auto* button = new QPushButton(QString::fromLatin1(title), container);
    button->setCheckable(true);
    layout->addWidget(button);
    group->addButton(button);
  }
  return adopt(container);
}

std::shared_ptr<platform::View> QtDriver::makeDatePicker() {
  return adopt(new QDateEdit(QDate(2026, 1, 1)));
}

// One component: a combo box. More: a marked container of a combo box and list views.
std::shared_ptr<platform::View> QtDriver::makePicker(
    std::vector<std::vector<std::string>> components) {
  auto rowsOf = [](const std::vector<std::string>& rows) {
    QStringList list;
    for (const auto& row : rows) list << QString::fromStdString(row);
    return list;
  };
  if (components.size() == 1) {
    auto* combo = new QComboBox();
    combo->addItems(rowsOf(components[0]));
    return adopt(combo);
  }
  auto* container = new QWidget();
  auto* layout = new QHBoxLayout(container);
  for (std::size_t i = 0; i < components.size(); ++i) {
    if (i == 0) {
      auto* combo = new QComboBox(container);
      combo->addItems(rowsOf(components[i]));
      layout->addWidget(combo);
      continue;
    }
    auto* list = new QListView(container);
    list->setModel(new QStringListModel(rowsOf(components[i]), list));
    list->setCurrentIndex(list->model()->index(0, 0));
    layout->addWidget(list);
  }
  qt::markPicker(container);
  return adopt(container);
}

void QtDriver::destroy(std::shared_ptr<platform::View>& view) {
  delete &widgetOf(*view);
  view.reset();
}

std::shared_ptr<platform::ViewController> QtDriver::makeScreen(std::optional<std::string> title) {
  auto* widget = new QWidget();
  if (title) widget->setWindowTitle(QString::fromStdString(*title));
  _made.emplace_back(widget);
  return qt::markScreen(widget);
}

void QtDriver::addOutlet(platform::ViewController& screen, const std::string& name,
                         const std::shared_ptr<platform::View>& view) {
  screen.rootView()->addSubview(view);
  widgetOf(*view).setObjectName(QString::fromStdString(name));
}

void QtDriver::addStringProperty(platform::ViewController& screen, const std::string& name,
                                 const std::string& value) {
  widgetOf(screen).setProperty(name.c_str(), QString::fromStdString(value));
}

void QtDriver::addChildScreen(platform::ViewController& parent,
                              const std::shared_ptr<platform::ViewController>& child) {
  parent.rootView()->addSubview(child->rootView());
}

void QtDriver::tap(platform::View& view) {
  QWidget& widget = widgetOf(view);
  showActive(widget);
  QTest::mouseClick(&widget, Qt::LeftButton);
}

void QtDriver::typeText(platform::View& field, std::string_view text) {
  auto& lineEdit = as<QLineEdit>(widgetOf(field));
  showActive(lineEdit);
  if (!lineEdit.hasFocus()) QTest::mouseClick(&lineEdit, Qt::LeftButton);
  QTest::keyClick(&lineEdit, Qt::Key_End);
  QTest::keyClicks(&lineEdit, QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
}

void QtDriver::endEditing(platform::View& field) { widgetOf(field).clearFocus(); }

void QtDriver::pressReturn(platform::View& field) {
  QWidget& widget = widgetOf(field);
  showActive(widget);
  QTest::keyClick(&widget, Qt::Key_Return);
}

void QtDriver::drag(platform::View& slider, const std::vector<double>& positions) {
  auto& qtSlider = dynamic_cast<Slider&>(widgetOf(slider));
  showActive(qtSlider);
  QStyleOptionSlider option;
  qtSlider.initStyleOption(&option);
  QStyle* style = qtSlider.style();
  const QRect handle =
      style->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, &qtSlider);
  const QRect groove =
      style->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderGroove, &qtSlider);
  const int span = groove.width() - handle.width();
  // The point under the handle's centre when the slider shows `value`.
  auto pointFor = [&](int value) {
    const int offset =
        QStyle::sliderPositionFromValue(qtSlider.minimum(), qtSlider.maximum(), value, span);
    return QPoint(groove.x() + offset + handle.width() / 2, handle.center().y());
  };
  QPoint at = pointFor(qtSlider.value());
  QTest::mousePress(&qtSlider, Qt::LeftButton, {}, at);
  for (double position : positions) {
    at = pointFor(static_cast<int>(std::lround(position * kSliderSteps)));
    QTest::mouseMove(&qtSlider, at);
  }
  QTest::mouseRelease(&qtSlider, Qt::LeftButton, {}, at);
}

void QtDriver::increment(platform::View& stepper) {
  auto& spinBox = dynamic_cast<SpinBox&>(widgetOf(stepper));
  showActive(spinBox);
  QStyleOptionSpinBox option;
  spinBox.initStyleOption(&option);
  const QRect up =
      spinBox.style()->subControlRect(QStyle::CC_SpinBox, &option, QStyle::SC_SpinBoxUp, &spinBox);
  QTest::mouseClick(&spinBox, Qt::LeftButton, {}, up.center());
}

void QtDriver::selectSegment(platform::View& segmentedControl, std::size_t index) {
  QWidget& container = widgetOf(segmentedControl);
  showActive(container);
  auto buttons = container.findChildren<QPushButton*>(QString(), Qt::FindDirectChildrenOnly);
  QTest::mouseClick(buttons.at(static_cast<qsizetype>(index)), Qt::LeftButton);
}

void QtDriver::pickDate(platform::View& datePicker) {
  QWidget& widget = widgetOf(datePicker);
  showActive(widget);
  QTest::keyClick(&widget, Qt::Key_Up);
}

void QtDriver::pickRow(platform::View& picker, std::size_t row, std::size_t component) {
  QWidget& widget = widgetOf(picker);
  showActive(widget);
  QWidget* target = &widget;
  if (qobject_cast<QComboBox*>(&widget) == nullptr) {
    std::vector<QWidget*> components;
    for (QObject* child : widget.children()) {
      if (qobject_cast<QComboBox*>(child) != nullptr ||
          qobject_cast<QListView*>(child) != nullptr) {
        components.push_back(static_cast<QWidget*>(child));
      }
    }
    target = components.at(component);
  }
  if (auto* combo = qobject_cast<QComboBox*>(target)) {
    pickWithKeys(*combo, combo->currentIndex(), static_cast<int>(row));
  } else {
    auto& list = as<QListView>(*target);
    pickWithKeys(list, list.currentIndex().row(), static_cast<int>(row));
  }
}

void QtDriver::followLink(platform::View& /*webView*/, const std::string& /*url*/) {
  throw std::logic_error("this driver has no browser engine");
}

void QtDriver::runUntilIdle() { processQtEvents(); }

std::vector<std::string> QtDriver::appliedConstraints(platform::View& view) {
  std::vector<std::string> formats;
  if (qt::QtView* qtView = qt::asQtView(&view)) {
    for (const auto& constraint : qtView->constraints()) {
      formats.push_back(constraint.visualFormat());
    }
  }
  return formats;
}

}  // namespace pelorin::testing
