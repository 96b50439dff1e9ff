#include "qt/view_factory.h"

namespace pelorin::qt {

namespace {

// Makes none of the lightbox's views yet: the lightbox does not show on Qt.
class PendingViewFactory final : public platform::ViewFactory {
 public:
  std::shared_ptr<platform::View> makeContainerView(std::function<void()> /*onTap*/) override {
    return nullptr;
  }
  std::shared_ptr<platform::View> makeWebView() override { return nullptr; }
  std::shared_ptr<platform::View> makeImageButton(
      std::optional<platform::Image> /*image*/) override {
    return nullptr;
  }
};

}  // namespace

std::unique_ptr<platform::ViewFactory> makeViewFactory() {
  return std::make_unique<PendingViewFactory>();
}

}  // namespace pelorin::qt
