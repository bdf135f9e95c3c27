#pragma once

#include "hardware/TemperatureSensorPicker.h"
#include "store/WindlarkStore.h"
#include "support/CancellationHandle.h"

#include <QWidget>
#include <optional>
#include <string>
#include <vector>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace windlark {

// The editor's right-hand column: what the machine reads now, what is known of the fan,
// whether fan writes are possible and what is still missing, the helper, the app's own
// settings and the safety note. Every text and every shown action comes from the store.
class StatusSidebarView final : public QWidget {
    Q_OBJECT

public:
    explicit StatusSidebarView(WindlarkStore& store, QWidget* parent = nullptr);
    ~StatusSidebarView() override;

    [[nodiscard]] QComboBox* languagePicker() const { return languagePicker_; }
    [[nodiscard]] QComboBox* sensorPicker() const { return sensorPicker_; }

    // This computer's own sensors, when the hardware has several temperatures to choose
    // from (null: none, as on a Mac or the simulation). Not owned; must outlive the view.
    void setTemperatureSensorPicker(TemperatureSensorPicker* picker);

private:
    struct Reading {
        QLabel* title;
        QLabel* value;
    };
    struct Requirement {
        QLabel* mark;
        QLabel* title;
        std::optional<bool> isSatisfied; // as the mark shows it
    };

    void refresh();
    void refreshSensors();
    Reading addReading(QVBoxLayout* section);
    QLabel* addSectionTitle(QVBoxLayout* layout);
    QPushButton* addButton(QVBoxLayout* section);

    WindlarkStore& store_;
    CancellationHandle subscription_;

    Reading temperature_;
    Reading fan_;
    Reading curveTarget_;
    Reading activeTarget_;
    Reading mode_;
    QLabel* modeDetail_;
    QLabel* curveEffect_;
    QCheckBox* curveSwitch_;
    QPushButton* resetButton_;
    QPushButton* testButton_;

    QLabel* hardwareTitle_;
    QLabel* hardwareRange_;
    QLabel* hardwareDetail_;
    QLabel* hardwareNote_;
    QLabel* sensorTitle_;
    QComboBox* sensorPicker_;
    QLabel* sensorNotice_;
    TemperatureSensorPicker* temperatureSensorPicker_ = nullptr;
    std::vector<std::string> sensorIds_; // the picker's entries after the default
    QPushButton* detectAgainButton_;
    QPushButton* adminDetectButton_;
    QPushButton* useHardwareRangeButton_;
    QPushButton* calibrateButton_;
    QLabel* calibrationProgress_;
    QPushButton* cancelCalibrationButton_;

    QLabel* writePathTitle_;
    QLabel* planTitle_;
    QLabel* planDetail_;
    QVBoxLayout* requirementsLayout_;
    std::vector<Requirement> requirements_;
    QPushButton* requirementsButton_;
    QPushButton* helperButton_;

    QLabel* appTitle_;
    QLabel* languageLabel_;
    QComboBox* languagePicker_;
    QCheckBox* loginSwitch_;
    QLabel* loginStatus_;
    QPushButton* updateButton_;
    QLabel* updateStatus_;
    QPushButton* updatePageButton_;

    QLabel* safetyNote_;
};

} // namespace windlark
