// The widgets with a text property: QLabel (its plain text; nothing when empty), and the
// editors QTextEdit and QPlainTextEdit (their plain text). QLineEdit is a text field
// (controls.cc).
#include <memory>
#include <optional>
#include <string>

#include <QLabel>
#include <QPlainTextEdit>
#include <QTextDocumentFragment>
#include <QTextEdit>

#include "qt/kinds.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

namespace {

class QtLabel final : public QtView {
 public:
  explicit QtLabel(QLabel& label) : QtView(label), _label(&label) {}

  bool hasTextProperty() const override { return true; }
  std::optional<std::string> text() const override {
    if (!_label || _label->text().isEmpty()) return std::nullopt;
    const QString shown =
        _label->textFormat() == Qt::RichText ||
                (_label->textFormat() == Qt::AutoText && Qt::mightBeRichText(_label->text()))
            ? QTextDocumentFragment::fromHtml(_label->text()).toPlainText()
            : _label->text();
    return toUtf8(shown);
  }

 protected:
  void describeDetails(std::string& out) const override {
    if (auto shown = text()) out += "; text = '" + *shown + "'";
  }

 private:
  QPointer<QLabel> _label;
};

// QTextEdit and QPlainTextEdit.
template <typename Editor>
class QtTextEditor final : public QtView {
 public:
  explicit QtTextEditor(Editor& editor) : QtView(editor, true), _editor(&editor) {}

  bool hasTextProperty() const override { return true; }
  std::optional<std::string> text() const override {
    if (!_editor) return std::nullopt;
    return toUtf8(_editor->toPlainText());
  }

 private:
  QPointer<Editor> _editor;
};

}  // namespace

void addTextKinds(ViewRegistry& registry) {
  registry.addKind([](QWidget& widget) -> std::shared_ptr<QtView> {
    if (auto* label = qobject_cast<QLabel*>(&widget)) return std::make_shared<QtLabel>(*label);
    if (auto* editor = qobject_cast<QTextEdit*>(&widget)) {
      return std::make_shared<QtTextEditor<QTextEdit>>(*editor);
    }
    if (auto* editor = qobject_cast<QPlainTextEdit*>(&widget)) {
      return std::make_shared<QtTextEditor<QPlainTextEdit>>(*editor);
    }
    return nullptr;
  });
}

}  // namespace pelorin::qt
