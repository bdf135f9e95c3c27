#pragma once

#include "store/WindlarkStore.h"
#include "support/CancellationHandle.h"
#include "support/Uuid.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace windlark {

// The small sheet for typing a point's exact temperature and fan speed. It shows the
// range the point may take; a value typed outside it is saved at the nearest allowed
// value, never refused, and text that is no number keeps the point's value.
class CurvePointEditorSheet final : public QDialog {
    Q_OBJECT

public:
    CurvePointEditorSheet(WindlarkStore& store, const Uuid& pointID, QWidget* parent = nullptr);
    ~CurvePointEditorSheet() override;

    [[nodiscard]] const Uuid& pointID() const { return pointID_; }
    [[nodiscard]] QLineEdit* temperatureField() const { return temperatureField_; }
    [[nodiscard]] QLineEdit* rpmField() const { return rpmField_; }
    [[nodiscard]] QPushButton* saveButton() const { return saveButton_; }
    [[nodiscard]] QPushButton* cancelButton() const { return cancelButton_; }

    // Hands the typed values to the store (which clamps them) and closes.
    void save();

private:
    void refresh();

    WindlarkStore& store_;
    Uuid pointID_;
    double initialTemperatureC_ = 0.0;
    double initialRPM_ = 0.0;
    CancellationHandle subscription_;
    QLabel* title_;
    QLabel* subtitle_;
    QLabel* temperatureLabel_;
    QLabel* rpmLabel_;
    QLabel* temperatureAllowed_;
    QLabel* rpmAllowed_;
    QLabel* crowdedNote_;
    QLineEdit* temperatureField_;
    QLineEdit* rpmField_;
    QPushButton* cancelButton_;
    QPushButton* saveButton_;
};

} // namespace windlark
