// The four screens of the demo shop, built with the headless toolkit. Each names its views
// as outlets, which is how the server's rules find them ("#addToCartButton").
//
// Thread safety: main thread only, like any toolkit object.
#ifndef PELORIN_EXAMPLES_DEMO_SHOP_SCREENS_H_
#define PELORIN_EXAMPLES_DEMO_SHOP_SCREENS_H_

#include <memory>
#include <string>

#include "pelorin/headless/toolkit.h"

namespace demo {

// A screen of the shop: a controller with the name the app reports in its page views.
class ShopScreen : public pelorin::headless::ViewController {
 public:
  ShopScreen(std::string title, std::string screenName);
  const std::string& screenName() const { return _screenName; }

 protected:
  // Adds `view` to the screen and makes it reachable as "#" + `outlet`.
  template <typename V>
  std::shared_ptr<V> add(const std::string& outlet, std::shared_ptr<V> view) {
    this->view()->addSubview(view);
    addOutlet(outlet, view);
    return view;
  }

 private:
  std::string _screenName;
};

class HomeScreen : public ShopScreen {
 public:
  HomeScreen();
  std::shared_ptr<pelorin::headless::Button> shopButton;
};

class ProductScreen : public ShopScreen {
 public:
  ProductScreen();
  std::shared_ptr<pelorin::headless::Label> title;
  std::shared_ptr<pelorin::headless::Label> description;
  std::shared_ptr<pelorin::headless::Label> price;
  std::shared_ptr<pelorin::headless::Button> reviewsButton;
  std::shared_ptr<pelorin::headless::Button> addToCartButton;
  std::shared_ptr<pelorin::headless::Button> wishlistButton;
};

class SignUpScreen : public ShopScreen {
 public:
  SignUpScreen();
  std::shared_ptr<pelorin::headless::TextField> emailField;
  std::shared_ptr<pelorin::headless::TextField> cityField;
  std::shared_ptr<pelorin::headless::Switch> newsletterSwitch;
  std::shared_ptr<pelorin::headless::Slider> budgetSlider;
  std::shared_ptr<pelorin::headless::PickerView> sizePicker;
  std::shared_ptr<pelorin::headless::Button> createAccountButton;
};

class CheckoutScreen : public ShopScreen {
 public:
  CheckoutScreen();
  std::shared_ptr<pelorin::headless::Label> orderSummary;
  std::shared_ptr<pelorin::headless::Label> total;
  std::shared_ptr<pelorin::headless::Button> payButton;
};

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_SHOP_SCREENS_H_
