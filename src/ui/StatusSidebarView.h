#pragma once

#include "store/WindlarkStore.h"
#include "support/CancellationHandle.h"

#include <QWidget>
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

private:
    struct Reading {
        QLabel* title;
        QLabel* value;
    };
    struct Requirement {
        QLabel* mark;
        QLabel* title;
    };

    void refresh();
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
    QPushButton* detectAgainButton_;
    QPushButton* adminDetectButton_;
    QPushButton* useHardwareRangeButton_;

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
