// One handle per QWidget: the registry makes a widget's wrapper when the library first
// asks for it and answers with the same wrapper for as long as the widget lives. When the
// widget's `destroyed` signal fires the registry drops the wrapper (which is gone from
// then on), so a later widget at the same address gets a new one.
//
// Which wrapper a widget gets depends on its class: each kind (labels and text fields,
// each control kind, pickers, web views...) is a function that makes the wrapper for the
// widgets of its kind and answers null for others. Kinds added later are tried first; a
// widget of no kind gets a plain `QtView`.
//
// Thread safety: GUI thread only.
#ifndef PELORIN_QT_VIEW_REGISTRY_H_
#define PELORIN_QT_VIEW_REGISTRY_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include <QWidget>

#include "qt/view.h"

namespace pelorin::qt {

class QtViewController;

class ViewRegistry {
 public:
  using Kind = std::function<std::shared_ptr<QtView>(QWidget& widget)>;

  // The registry of the process (it lives until the process ends).
  static ViewRegistry& instance();

  ViewRegistry(const ViewRegistry&) = delete;
  ViewRegistry& operator=(const ViewRegistry&) = delete;

  // Adds a kind, tried before the ones added earlier.
  void addKind(Kind kind);

  // The wrapper of `widget`, made on first use; null for a null widget.
  std::shared_ptr<QtView> viewFor(QWidget* widget);
  // The wrapper of `widget` when one was made; null otherwise.
  std::shared_ptr<QtView> existingView(const QWidget* widget) const;
  // How many live widgets have a wrapper.
  std::size_t size() const { return _views.size(); }

  // The controller of a widget marked as a screen (made and kept like views).
  std::shared_ptr<QtViewController> markScreen(QWidget* widget);
  std::shared_ptr<QtViewController> screenFor(const QWidget* widget) const;

 private:
  ViewRegistry();
  // Drops what belongs to `object`; connected to its `destroyed` signal.
  void forget(const QObject* object);
  void watch(QWidget& widget);

  std::vector<Kind> _kinds;
  std::unordered_map<const QObject*, std::shared_ptr<QtView>> _views;
  std::unordered_map<const QObject*, std::shared_ptr<QtViewController>> _screens;
};

// The library's handle as a QtView; null for a view of another toolkit.
QtView* asQtView(platform::View* view);

}  // namespace pelorin::qt

#endif  // PELORIN_QT_VIEW_REGISTRY_H_
