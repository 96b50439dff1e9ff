// The Qt shop's window: the four screens in a stack, a bar to move between them, and what
// the app itself tells the library: a page view each time a screen opens, and the values of
// the controls that have no text (the newsletter switch, the budget slider, the size
// picker) when the user changes them.
//
// Thread safety: Qt's GUI thread only, like any widget.
#ifndef PELORIN_EXAMPLES_QT_SHOP_SHOP_WINDOW_H_
#define PELORIN_EXAMPLES_QT_SHOP_SHOP_WINDOW_H_

#include <memory>

#include <QPushButton>
#include <QStackedWidget>
#include <QWidget>

#include "shop_screens.h"

namespace qtshop {

class ShopWindow : public QWidget {
 public:
  ShopWindow();

  HomeScreen* home() const { return _home; }
  ProductScreen* product() const { return _product; }
  SignUpScreen* signUp() const { return _signUp; }
  CheckoutScreen* checkout() const { return _checkout; }
  // The screen showing.
  ShopScreen* current() const;
  // The button of the bar that opens `screen`.
  QPushButton* navigationButton(const ShopScreen* screen) const;

  // Shows `screen` and sends its page view, which starts the screen's plug-ins once the
  // server has answered.
  void open(ShopScreen* screen);
  // Whether the server has answered the page view of the screen opened last.
  bool pageViewAnswered() const { return *_pageViewAnswered; }

 private:
  QStackedWidget* _stack;
  HomeScreen* _home;
  ProductScreen* _product;
  SignUpScreen* _signUp;
  CheckoutScreen* _checkout;
  QPushButton* _toHome;
  QPushButton* _toProduct;
  QPushButton* _toSignUp;
  QPushButton* _toCheckout;
  std::shared_ptr<bool> _pageViewAnswered = std::make_shared<bool>(false);
};

}  // namespace qtshop

#endif  // PELORIN_EXAMPLES_QT_SHOP_SHOP_WINDOW_H_
