#include "shop_window.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <QHBoxLayout>
#include <QVBoxLayout>

#include "pelorin/event.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "shop_library.h"

namespace qtshop {
namespace {

// Publishes an event the app makes itself, as a control without text reports its value.
void publish(std::shared_ptr<pelorin::Event> event) {
  pelorin::PelorinClient::synchronized(
      [&] { pelorin::PelorinEventFactory::getInstance().publish(std::move(event)); });
}

}  // namespace

ShopWindow::ShopWindow()
    : _stack(new QStackedWidget),
      _home(new HomeScreen),
      _product(new ProductScreen),
      _signUp(new SignUpScreen),
      _checkout(new CheckoutScreen),
      _toHome(new QPushButton("Home")),
      _toProduct(new QPushButton("Product")),
      _toSignUp(new QPushButton("Sign up")),
      _toCheckout(new QPushButton("Checkout")) {
  setWindowTitle("Trailhead");
  resize(420, 720);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(_stack, 1);
  auto* bar = new QHBoxLayout;
  bar->setContentsMargins(8, 8, 8, 8);
  column->addLayout(bar);

  const std::vector<std::pair<QPushButton*, ShopScreen*>> pages = {
      {_toHome, _home}, {_toProduct, _product}, {_toSignUp, _signUp}, {_toCheckout, _checkout}};
  for (const auto& [button, screen] : pages) {
    _stack->addWidget(screen);
    markScreen(*screen);
    bar->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, screen = screen] { open(screen); });
  }
  connect(_home->shopButton, &QPushButton::clicked, this, [this] { open(_product); });

  // The switch, the slider and the picker have no text for the library to read: the app
  // reports their values when the user changes them (the slider once, when let go).
  connect(_signUp->newsletterSwitch, &QCheckBox::toggled, this, [](bool on) {
    publish(std::make_shared<pelorin::FieldChangeEvent>(
        "#newsletterSwitch", std::vector<std::string>{on ? "true" : "false"}));
  });
  connect(_signUp->budgetSlider, &QSlider::sliderReleased, this, [this] {
    publish(std::make_shared<pelorin::FieldChangeEvent>(
        "#budgetSlider", std::vector<std::string>{std::to_string(_signUp->budgetSlider->value())}));
  });
  connect(_signUp->sizePicker, &QComboBox::activated, this, [this](int row) {
    publish(std::make_shared<pelorin::UpdateValuesEvent>(
        "#sizePicker", std::vector<std::string>{_signUp->sizePicker->itemText(row).toStdString()}));
  });
}

ShopScreen* ShopWindow::current() const {
  return static_cast<ShopScreen*>(_stack->currentWidget());
}

QPushButton* ShopWindow::navigationButton(const ShopScreen* screen) const {
  if (screen == _home) return _toHome;
  if (screen == _product) return _toProduct;
  if (screen == _signUp) return _toSignUp;
  return _toCheckout;
}

void ShopWindow::open(ShopScreen* screen) {
  _stack->setCurrentWidget(screen);
  setWindowTitle("Trailhead: " + screen->windowTitle());
  auto answered = std::make_shared<bool>(false);
  _pageViewAnswered = answered;
  pelorin::PelorinClient::getInstance(screenController(*screen))
      .createEvent("PAGEVIEW",
                   std::map<std::string, std::string>{{"screenName", screen->screenName()}},
                   [answered] { *answered = true; });
}

}  // namespace qtshop
