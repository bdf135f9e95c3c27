#include "ui/NumberField.h"

#include "store/CurveGraphGeometry.h"
#include "ui/EditorStyle.h"

namespace windlark {

NumberField::NumberField(Commit commit, QWidget* parent)
    : QLineEdit(parent)
    , commit_(std::move(commit)) {
    setAlignment(Qt::AlignRight);
    connect(this, &QLineEdit::editingFinished, this, &NumberField::finishEditing);
}

void NumberField::showValue(double value) {
    value_ = value;
    if (hasFocus() && isModified()) {
        return;
    }
    const QString shown = EditorStyle::editableNumber(value);
    if (text() != shown) {
        setText(shown);
    }
}

void NumberField::finishEditing() {
    if (!isModified()) {
        return;
    }
    setModified(false);
    const auto typed = parseTypedNumber(text().toStdString());
    if (!typed) {
        if (value_) {
            setText(EditorStyle::editableNumber(*value_));
        }
        return;
    }
    // The receiver clamps the number by its own rules and the field then shows what was
    // kept; put the old value back first in case nothing changes.
    if (value_) {
        setText(EditorStyle::editableNumber(*value_));
    }
    commit_(*typed);
}

} // namespace windlark
