#pragma once

#include <QLineEdit>
#include <functional>
#include <optional>

namespace windlark {

// A one-number input field. What the user types is handed on when editing finishes; text
// that is no number is refused by putting the field's previous value back. The value
// shown follows the model, except while the user is typing.
class NumberField final : public QLineEdit {
    Q_OBJECT

public:
    using Commit = std::function<void(double)>;

    explicit NumberField(Commit commit, QWidget* parent = nullptr);

    // Shows the model's value unless an edit is under way.
    void showValue(double value);
    [[nodiscard]] std::optional<double> shownValue() const { return value_; }

private:
    void finishEditing();

    Commit commit_;
    std::optional<double> value_;
};

} // namespace windlark
