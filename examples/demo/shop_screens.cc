#include "shop_screens.h"

#include <utility>
#include <vector>

namespace demo {

using pelorin::headless::Button;
using pelorin::headless::Label;
using pelorin::headless::PickerView;
using pelorin::headless::Slider;
using pelorin::headless::Switch;
using pelorin::headless::TextField;

ShopScreen::ShopScreen(std::string title, std::string screenName)
    : ViewController(std::move(title)), _screenName(std::move(screenName)) {}

HomeScreen::HomeScreen() : ShopScreen("Trailhead Outfitters", "home") {
  add("welcomeLabel", std::make_shared<Label>("Welcome to Trailhead Outfitters"));
  add("promoLabel", std::make_shared<Label>("New season: trail running and hiking gear"));
  shopButton = add("shopButton", std::make_shared<Button>("Shop trail shoes"));
}

ProductScreen::ProductScreen() : ShopScreen("Trail running shoes", "product") {
  title = add("productTitle", std::make_shared<Label>("Trail running shoes"));
  description = add("productDescription",
                    std::make_shared<Label>("Light shoes with a grippy sole, made for running "
                                            "and hiking on rough ground."));
  price = add("priceLabel", std::make_shared<Label>("Sale price: 129 euro"));
  reviewsButton = add("reviewsButton", std::make_shared<Button>("Read reviews"));
  addToCartButton = add("addToCartButton", std::make_shared<Button>("Add to cart"));
  wishlistButton = add("wishlistButton", std::make_shared<Button>("Save for later"));
}

SignUpScreen::SignUpScreen() : ShopScreen("Create your account", "signup") {
  emailField = add("emailField", std::make_shared<TextField>());
  emailField->setPlaceholder("E-mail address");
  cityField = add("cityField", std::make_shared<TextField>());
  cityField->setPlaceholder("City");
  newsletterSwitch = add("newsletterSwitch", std::make_shared<Switch>(false));
  budgetSlider = add("budgetSlider", std::make_shared<Slider>(0, 300, 100));
  sizePicker = add("sizePicker", std::make_shared<PickerView>(std::vector<std::vector<std::string>>{
                                     {"39", "40", "41", "42", "43", "44", "45"}}));
  createAccountButton = add("createAccountButton", std::make_shared<Button>("Create account"));
}

CheckoutScreen::CheckoutScreen() : ShopScreen("Checkout", "checkout") {
  orderSummary = add("orderSummary", std::make_shared<Label>("1 x Trail running shoes"));
  total = add("totalLabel", std::make_shared<Label>("Total: 129 euro"));
  payButton = add("payButton", std::make_shared<Button>("Pay now"));
}

}  // namespace demo
