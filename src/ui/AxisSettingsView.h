#pragma once

#include "store/WindlarkStore.h"
#include "support/CancellationHandle.h"

#include <QWidget>

class QCheckBox;
class QLabel;

namespace windlark {

class NumberField;

// The curve's frame: both axes, the safety limit and the fan-off threshold. Each field
// takes typed text; the profile's rules clamp what it keeps (an axis at least 5 C or
// 100 RPM long, the threshold below the limit), and the field then shows that.
class AxisSettingsView final : public QWidget {
    Q_OBJECT

public:
    explicit AxisSettingsView(WindlarkStore& store, QWidget* parent = nullptr);
    ~AxisSettingsView() override;

    [[nodiscard]] NumberField* temperatureMinimumField() const { return temperatureMinimum_; }
    [[nodiscard]] NumberField* temperatureMaximumField() const { return temperatureMaximum_; }
    [[nodiscard]] NumberField* rpmMinimumField() const { return rpmMinimum_; }
    [[nodiscard]] NumberField* rpmMaximumField() const { return rpmMaximum_; }
    [[nodiscard]] NumberField* safetyLimitField() const { return safetyLimit_; }
    [[nodiscard]] NumberField* fanOffThresholdField() const { return fanOffThreshold_; }
    [[nodiscard]] QCheckBox* fanOffSwitch() const { return fanOffSwitch_; }

private:
    void refresh();

    WindlarkStore& store_;
    CancellationHandle subscription_;
    QLabel* temperatureTitle_;
    QLabel* rpmTitle_;
    QLabel* limitTitle_;
    QLabel* fanOffTitle_;
    QLabel* temperatureMinimumLabel_;
    QLabel* temperatureMaximumLabel_;
    QLabel* rpmMinimumLabel_;
    QLabel* rpmMaximumLabel_;
    QLabel* fanOffBelowLabel_;
    QLabel* fanOffDescription_;
    NumberField* temperatureMinimum_;
    NumberField* temperatureMaximum_;
    NumberField* rpmMinimum_;
    NumberField* rpmMaximum_;
    NumberField* safetyLimit_;
    NumberField* fanOffThreshold_;
    QCheckBox* fanOffSwitch_;
};

} // namespace windlark
