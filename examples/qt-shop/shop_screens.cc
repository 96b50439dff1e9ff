#include "shop_screens.h"

#include <utility>

#include <QFont>

namespace qtshop {

ShopScreen::ShopScreen(const QString& title, std::string screenName)
    : _screenName(std::move(screenName)), _column(new QVBoxLayout(this)) {
  setWindowTitle(title);
  _column->setContentsMargins(20, 20, 20, 20);
  _column->setSpacing(10);
  auto* heading = new QLabel(title, this);
  QFont font = heading->font();
  font.setPointSize(font.pointSize() + 6);
  font.setBold(true);
  heading->setFont(font);
  _column->addWidget(heading);
}

void ShopScreen::caption(const QString& text) { _column->addWidget(new QLabel(text, this)); }

HomeScreen::HomeScreen() : ShopScreen("Trailhead Outfitters", "home") {
  add("welcomeLabel", new QLabel("Welcome to Trailhead Outfitters"));
  add("promoLabel", new QLabel("New season: trail running and hiking gear"));
  shopButton = add("shopButton", new QPushButton("Shop trail shoes"));
  layout()->addItem(new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Expanding));
}

ProductScreen::ProductScreen() : ShopScreen("Trail running shoes", "product") {
  title = add("productTitle", new QLabel("Trail running shoes"));
  description = add("productDescription",
                    new QLabel("Light shoes with a grippy sole, made for running and hiking on "
                               "rough ground."));
  description->setWordWrap(true);
  price = add("priceLabel", new QLabel("Sale price: 129 euro"));
  reviewsButton = add("reviewsButton", new QPushButton("Read reviews"));
  addToCartButton = add("addToCartButton", new QPushButton("Add to cart"));
  wishlistButton = add("wishlistButton", new QPushButton("Save for later"));
  layout()->addItem(new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Expanding));
}

SignUpScreen::SignUpScreen() : ShopScreen("Create your account", "signup") {
  emailField = add("emailField", new QLineEdit);
  emailField->setPlaceholderText("E-mail address");
  cityField = add("cityField", new QLineEdit);
  cityField->setPlaceholderText("City");
  newsletterSwitch = add("newsletterSwitch", new QCheckBox("Newsletter"));
  caption("Budget (0 to 300 euro)");
  budgetSlider = add("budgetSlider", new QSlider(Qt::Horizontal));
  budgetSlider->setRange(0, 300);
  budgetSlider->setValue(100);
  caption("Shoe size");
  sizePicker = add("sizePicker", new QComboBox);
  sizePicker->addItems({"39", "40", "41", "42", "43", "44", "45"});
  createAccountButton = add("createAccountButton", new QPushButton("Create account"));
  layout()->addItem(new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Expanding));
}

CheckoutScreen::CheckoutScreen() : ShopScreen("Checkout", "checkout") {
  orderSummary = add("orderSummary", new QLabel("1 x Trail running shoes"));
  total = add("totalLabel", new QLabel("Total: 129 euro"));
  payButton = add("payButton", new QPushButton("Pay now"));
  layout()->addItem(new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Expanding));
}

}  // namespace qtshop
