// Visual-format constraints applied to Qt widgets: each host widget that received
// constraints gets one `ConstraintLayout` (a child object watching it), which keeps the
// constraints in the order they were added, places the named widgets by them (x and width
// from "H:" ones, y and height from "V:" ones, in the host's coordinates), and places them
// again whenever the host is resized or shown.
//
//   auto& layout = ConstraintLayout::of(*host);
//   layout.add("H:|-40-[lightbox]-40-|", {{"lightbox", webView}});
//
// Thread safety: none; Qt's GUI thread only, like the widgets.
#ifndef PELORIN_SRC_QT_CONSTRAINT_LAYOUT_H_
#define PELORIN_SRC_QT_CONSTRAINT_LAYOUT_H_

#include <map>
#include <string>
#include <vector>

#include <QObject>
#include <QPointer>
#include <QWidget>

#include "qt/visual_format.h"

namespace pelorin::qt {

class ConstraintLayout final : public QObject {
  Q_OBJECT

 public:
  // The layout of `host`, made on first use; it lives as long as the host.
  static ConstraintLayout& of(QWidget& host);
  // The layout of `host` when it has one.
  static ConstraintLayout* find(const QWidget& host);

  // Adds the constraint `format` over `views` and places them at once. False (nothing
  // added) when the format cannot be parsed or names a widget it was not given.
  bool add(const std::string& format, const std::map<std::string, QPointer<QWidget>>& views);
  // The formats of the constraints held, in the order they were added.
  std::vector<std::string> formats() const;
  // Drops the constraints naming `removed` or a widget inside it (it left the host's tree).
  void dropConstraintsReferencing(const QWidget& removed);
  // Places the named widgets by every constraint, in order.
  void apply();

  // Drops, on `formerParent` and each of its ancestors, the constraints that name
  // `removed` or a widget inside it.
  static void dropFromAncestors(QWidget* formerParent, const QWidget& removed);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  explicit ConstraintLayout(QWidget& host);

  struct Constraint {
    std::string text;
    VisualFormat format;
    std::map<std::string, QPointer<QWidget>> views;
  };
  void apply(const Constraint& constraint);

  QPointer<QWidget> _host;
  std::vector<Constraint> _constraints;
};

}  // namespace pelorin::qt

#endif  // PELORIN_SRC_QT_CONSTRAINT_LAYOUT_H_
