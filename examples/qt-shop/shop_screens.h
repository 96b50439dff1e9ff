// The four screens of the Qt shop, built with Qt widgets. Each child widget the server's
// rules name has that name as its objectName ("#addToCartButton" finds the button whose
// objectName is "addToCartButton"); the screen's window title is its title.
//
// Thread safety: Qt's GUI thread only, like any widget.
#ifndef PELORIN_EXAMPLES_QT_SHOP_SHOP_SCREENS_H_
#define PELORIN_EXAMPLES_QT_SHOP_SHOP_SCREENS_H_

#include <string>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QString>
#include <QVBoxLayout>
#include <QWidget>

namespace qtshop {

// A screen of the shop: the name the app reports in its page views, and a column of
// widgets under a heading.
class ShopScreen : public QWidget {
 public:
  ShopScreen(const QString& title, std::string screenName);
  const std::string& screenName() const { return _screenName; }

 protected:
  // Adds `widget` to the screen's column, named `outlet`.
  template <typename W>
  W* add(const char* outlet, W* widget) {
    widget->setObjectName(QString::fromLatin1(outlet));
    _column->addWidget(widget);
    return widget;
  }
  // A caption over the next widget, unnamed: no rule looks at it.
  void caption(const QString& text);

 private:
  std::string _screenName;
  QVBoxLayout* _column;
};

class HomeScreen : public ShopScreen {
 public:
  HomeScreen();
  QPushButton* shopButton;
};

class ProductScreen : public ShopScreen {
 public:
  ProductScreen();
  QLabel* title;
  QLabel* description;
  QLabel* price;
  QPushButton* reviewsButton;
  QPushButton* addToCartButton;
  QPushButton* wishlistButton;
};

class SignUpScreen : public ShopScreen {
 public:
  SignUpScreen();
  QLineEdit* emailField;
  QLineEdit* cityField;
  QCheckBox* newsletterSwitch;
  QSlider* budgetSlider;
  QComboBox* sizePicker;  // stands in for a picker view
  QPushButton* createAccountButton;
};

class CheckoutScreen : public ShopScreen {
 public:
  CheckoutScreen();
  QLabel* orderSummary;
  QLabel* total;
  QPushButton* payButton;
};

}  // namespace qtshop

#endif  // PELORIN_EXAMPLES_QT_SHOP_SHOP_SCREENS_H_
