#include "ui/StatusSidebarView.h"

#include "helper/FanWriteSafetyPlan.h"
#include "text/Formatters.h"
#include "ui/EditorStyle.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace windlark {

namespace {

using EditorStyle::qtext;

// A round mark for one write requirement: a filled tick when it holds, an empty ring
// when it does not.
QPixmap requirementMark(bool isSatisfied, const QColor& ink) {
    constexpr int side = 14;
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF circle(1.5, 1.5, side - 3.0, side - 3.0);
    if (isSatisfied) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(EditorStyle::accent());
        painter.drawEllipse(circle);
        QPainterPath tick;
        tick.moveTo(4.0, 7.2);
        tick.lineTo(6.2, 9.4);
        tick.lineTo(10.2, 4.8);
        painter.setPen(QPen(Qt::white, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(tick);
    } else {
        QColor ring = ink;
        ring.setAlphaF(0.45F);
        painter.setPen(QPen(ring, 1.4));
        painter.drawEllipse(circle);
    }
    return pixmap;
}

void setShown(QWidget* widget, bool isShown) {
    if (widget->isHidden() == isShown) {
        widget->setVisible(isShown);
    }
}

void setTextIfChanged(QLabel* label, const QString& text) {
    if (label->text() != text) {
        label->setText(text);
    }
}

} // namespace

QLabel* StatusSidebarView::addSectionTitle(QVBoxLayout* layout) {
    auto* title = new QLabel(this);
    EditorStyle::makeTitle(title);
    layout->addSpacing(7);
    layout->addWidget(title);
    return title;
}

StatusSidebarView::Reading StatusSidebarView::addReading(QVBoxLayout* section) {
    auto* row = new QHBoxLayout;
    Reading reading{new QLabel(this), new QLabel(this)};
    EditorStyle::makeSecondary(reading.title);
    reading.value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    reading.value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont valueFont = reading.value->font();
    valueFont.setBold(true);
    reading.value->setFont(valueFont);
    row->addWidget(reading.title, 1);
    row->addWidget(reading.value);
    section->addLayout(row);
    return reading;
}

QPushButton* StatusSidebarView::addButton(QVBoxLayout* section) {
    auto* button = new QPushButton(this);
    section->addWidget(button);
    return button;
}

StatusSidebarView::StatusSidebarView(WindlarkStore& store, QWidget* parent)
    : QWidget(parent)
    , store_(store) {
    EditorStyle::makeCard(this);
    setAttribute(Qt::WA_StyledBackground);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 10);
    layout->setSpacing(3);

    temperature_ = addReading(layout);
    fan_ = addReading(layout);
    curveTarget_ = addReading(layout);
    activeTarget_ = addReading(layout);
    mode_ = addReading(layout);
    modeDetail_ = new QLabel(this);
    EditorStyle::makeSecondary(modeDetail_);
    layout->addWidget(modeDetail_);
    curveEffect_ = new QLabel(this);
    EditorStyle::makeSecondary(curveEffect_);
    layout->addWidget(curveEffect_);
    curveSwitch_ = new QCheckBox(this);
    layout->addWidget(curveSwitch_);
    connect(curveSwitch_, &QCheckBox::toggled, this, [this](bool isOn) {
        if (isOn != store_.isCurveEnabled()) {
            store_.setCurveEnabled(isOn);
        }
    });
    auto* controlRow = new QHBoxLayout;
    resetButton_ = new QPushButton(this);
    testButton_ = new QPushButton(this);
    controlRow->addWidget(resetButton_);
    controlRow->addWidget(testButton_);
    layout->addLayout(controlRow);
    connect(resetButton_, &QPushButton::clicked, this, [this] { store_.resetToSystem(); });
    connect(testButton_, &QPushButton::clicked, this, [this] { store_.applyCurveTargetLease(); });

    hardwareTitle_ = addSectionTitle(layout);
    hardwareRange_ = new QLabel(this);
    hardwareRange_->setWordWrap(true);
    layout->addWidget(hardwareRange_);
    hardwareDetail_ = new QLabel(this);
    EditorStyle::makeSecondary(hardwareDetail_);
    layout->addWidget(hardwareDetail_);
    detectAgainButton_ = addButton(layout);
    connect(detectAgainButton_, &QPushButton::clicked, this,
            [this] { store_.refreshHardwareCapabilities(false); });
    adminDetectButton_ = addButton(layout);
    connect(adminDetectButton_, &QPushButton::clicked, this,
            [this] { store_.refreshHardwareCapabilitiesAsAdmin(true); });
    hardwareNote_ = new QLabel(this);
    EditorStyle::makeSecondary(hardwareNote_);
    layout->addWidget(hardwareNote_);
    sensorTitle_ = new QLabel(this);
    sensorPicker_ = new QComboBox(this);
    sensorPicker_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    auto* sensorRow = new QHBoxLayout;
    sensorRow->addWidget(sensorTitle_);
    sensorRow->addWidget(sensorPicker_, 1);
    layout->addLayout(sensorRow);
    connect(sensorPicker_, &QComboBox::activated, this, [this](int index) {
        if (temperatureSensorPicker_ == nullptr) {
            return;
        }
        // The first entry is the default; the others are the sensors by id.
        const auto position = static_cast<std::size_t>(index);
        const std::optional<std::string> chosen =
            index > 0 && position <= sensorIds_.size()
                ? std::optional<std::string>(sensorIds_[position - 1])
                : std::nullopt;
        temperatureSensorPicker_->chooseTemperatureSensor(chosen);
        store_.temperatureSensorDidChange(chosen);
    });
    sensorNotice_ = new QLabel(this);
    sensorNotice_->setWordWrap(true);
    layout->addWidget(sensorNotice_);
    useHardwareRangeButton_ = addButton(layout);
    connect(useHardwareRangeButton_, &QPushButton::clicked, this,
            [this] { store_.applyDetectedHardwareRange(); });
    calibrateButton_ = addButton(layout);
    connect(calibrateButton_, &QPushButton::clicked, this, [this] {
        const QMessageBox::StandardButton answer = QMessageBox::question(
            this, qtext(store_, L10nKey::calibrateFans), qtext(store_, L10nKey::calibrationWarning),
            QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel);
        if (answer == QMessageBox::Ok) {
            store_.calibrateFans();
        }
    });
    calibrationProgress_ = new QLabel(this);
    EditorStyle::makeSecondary(calibrationProgress_);
    calibrationProgress_->setWordWrap(true);
    layout->addWidget(calibrationProgress_);
    cancelCalibrationButton_ = addButton(layout);
    connect(cancelCalibrationButton_, &QPushButton::clicked, this,
            [this] { store_.cancelCalibration(); });

    writePathTitle_ = addSectionTitle(layout);
    planTitle_ = new QLabel(this);
    planTitle_->setWordWrap(true);
    layout->addWidget(planTitle_);
    planDetail_ = new QLabel(this);
    EditorStyle::makeSecondary(planDetail_);
    layout->addWidget(planDetail_);
    requirementsLayout_ = new QVBoxLayout;
    requirementsLayout_->setSpacing(0);
    layout->addLayout(requirementsLayout_);
    requirementsButton_ = addButton(layout);
    connect(requirementsButton_, &QPushButton::clicked, this,
            [this] { store_.showWriteRequirements(); });
    helperButton_ = addButton(layout);
    connect(helperButton_, &QPushButton::clicked, this,
            [this] { store_.installPrivilegedHelper(); });

    appTitle_ = addSectionTitle(layout);
    auto* languageRow = new QHBoxLayout;
    languageLabel_ = new QLabel(this);
    languagePicker_ = new QComboBox(this);
    for (const AppLanguage language : allCases<AppLanguage>) {
        languagePicker_->addItem(qtext(nativeName(language)));
    }
    connect(languagePicker_, &QComboBox::activated, this, [this](int index) {
        store_.setLanguage(allCases<AppLanguage>.at(static_cast<std::size_t>(index)));
    });
    languageRow->addWidget(languageLabel_, 1);
    languageRow->addWidget(languagePicker_);
    layout->addLayout(languageRow);
    loginSwitch_ = new QCheckBox(this);
    layout->addWidget(loginSwitch_);
    connect(loginSwitch_, &QCheckBox::toggled, this, [this](bool isOn) {
        if (isOn != (store_.launchAtLoginStatus() != LoginItemStatus::disabled)) {
            store_.setLaunchAtLoginEnabled(isOn);
        }
    });
    loginStatus_ = new QLabel(this);
    EditorStyle::makeSecondary(loginStatus_);
    layout->addWidget(loginStatus_);
    auto* updateRow = new QHBoxLayout;
    updateButton_ = new QPushButton(this);
    updatePageButton_ = new QPushButton(this);
    updateRow->addWidget(updateButton_);
    updateRow->addWidget(updatePageButton_);
    updateRow->addStretch(1);
    layout->addLayout(updateRow);
    connect(updateButton_, &QPushButton::clicked, this, [this] { store_.checkForUpdates(); });
    connect(updatePageButton_, &QPushButton::clicked, this, [this] {
        const auto& result = store_.updateCheckResult();
        if (result && result->releaseURL) {
            QDesktopServices::openUrl(QUrl(qtext(*result->releaseURL)));
        }
    });
    updateStatus_ = new QLabel(this);
    EditorStyle::makeSecondary(updateStatus_);
    layout->addWidget(updateStatus_);

    layout->addSpacing(4);
    safetyNote_ = new QLabel(this);
    EditorStyle::makeSecondary(safetyNote_);
    layout->addWidget(safetyNote_);
    layout->addStretch(1);

    subscription_ = store_.subscribe([this](StoreChanges) { refresh(); });
    refresh();
}

StatusSidebarView::~StatusSidebarView() = default;

void StatusSidebarView::setTemperatureSensorPicker(TemperatureSensorPicker* picker) {
    temperatureSensorPicker_ = picker;
    sensorIds_.clear();
    sensorPicker_->clear();
    refresh();
}

void StatusSidebarView::refreshSensors() {
    const auto text = [this](L10nKey key) { return qtext(store_, key); };
    TemperatureSensorPicker* picker = temperatureSensorPicker_;
    const bool hasPicker = picker != nullptr;
    // Where the readings come from, and what this computer allows.
    QString note;
    if (hasPicker) {
        note = text(L10nKey::realHardwareRunning) + QStringLiteral(".");
        if (const std::optional<std::string> readOnly = store_.readOnlyHardwareNote()) {
            note += QStringLiteral(" ") + qtext(*readOnly);
        }
        if (store_.hardwareCapabilities().fanCount == 0) {
            note += QStringLiteral(" ") + text(L10nKey::noFanVisible);
        }
    }
    // A simulated Mac says so once, in the editor's note above the graph.
    setTextIfChanged(hardwareNote_, note);
    setShown(hardwareNote_, !note.isEmpty());
    setShown(sensorTitle_, hasPicker);
    setShown(sensorPicker_, hasPicker);
    if (!hasPicker) {
        setShown(sensorNotice_, false);
        return;
    }

    sensorTitle_->setText(text(L10nKey::temperatureSensor));
    const std::vector<TemperatureSensorChoice> sensors = picker->temperatureSensors();
    std::vector<std::string> ids;
    QString defaultLabel = text(L10nKey::none);
    for (const TemperatureSensorChoice& sensor : sensors) {
        ids.push_back(sensor.id);
        if (sensor.isDefaultChoice) {
            defaultLabel = qtext(sensor.label);
        }
    }
    // The list is rebuilt only when the sensors change, so an open list stays open while
    // the readings under it move.
    if (ids != sensorIds_ || sensorPicker_->count() != static_cast<int>(ids.size()) + 1) {
        sensorIds_ = ids;
        sensorPicker_->clear();
        sensorPicker_->addItem(QString());
        for (std::size_t i = 0; i < ids.size(); ++i) {
            sensorPicker_->addItem(QString());
        }
    }
    sensorPicker_->setItemText(
        0, qtext(L10n::format(L10nKey::defaultTemperatureSensor, store_.language(),
                              {defaultLabel.toStdString()})));
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        const TemperatureSensorChoice& sensor = sensors[i];
        QString item =
            qtext(sensor.label) + QStringLiteral(" (") + qtext(sensor.chip) + QStringLiteral(")");
        if (sensor.temperatureC) {
            item += QStringLiteral("  ") + qtext(Formatters::temperature(*sensor.temperatureC));
        }
        sensorPicker_->setItemText(static_cast<int>(i) + 1, item);
    }
    const auto chosen = picker->chosenTemperatureSensor();
    int current = 0;
    for (std::size_t i = 0; chosen && i < ids.size(); ++i) {
        if (ids[i] == *chosen) {
            current = static_cast<int>(i) + 1;
        }
    }
    sensorPicker_->setCurrentIndex(current);
    // A saved choice that is gone is said once; the words stay until the next notice.
    if (const auto notice = picker->takeSensorNotice(store_.language())) {
        sensorNotice_->setText(qtext(*notice));
    }
    setShown(sensorNotice_, !sensorNotice_->text().isEmpty());
}

void StatusSidebarView::refresh() {
    const auto text = [this](L10nKey key) { return qtext(store_, key); };
    const ThermalSnapshot& snapshot = store_.snapshot();

    setTextIfChanged(temperature_.title, qtext(store_.temperatureReadingTitle()));
    setTextIfChanged(temperature_.value, qtext(Formatters::temperature(snapshot.temperatureC)));
    setTextIfChanged(fan_.title, qtext(store_.fanReadingTitle()));
    setTextIfChanged(fan_.value, qtext(store_.fanReadingValueText()));
    setTextIfChanged(curveTarget_.title, text(L10nKey::curveTarget));
    setTextIfChanged(curveTarget_.value, qtext(store_.curveTargetValueText()));
    setTextIfChanged(activeTarget_.title, text(L10nKey::activeTarget));
    setTextIfChanged(activeTarget_.value, qtext(store_.activeTargetValueText()));
    setTextIfChanged(mode_.title, text(L10nKey::mode));
    setTextIfChanged(mode_.value, qtext(store_.effectiveModeTitle()));
    setTextIfChanged(modeDetail_, qtext(store_.effectiveModeDetail()));
    setTextIfChanged(curveEffect_, qtext(store_.curveEffectLabel()));
    curveSwitch_->setText(text(L10nKey::controlWithCurve));
    curveSwitch_->setEnabled(!store_.hardwareCapabilities().isUnsupported());
    {
        const QSignalBlocker quiet(curveSwitch_);
        curveSwitch_->setChecked(store_.isCurveEnabled());
    }
    resetButton_->setText(text(L10nKey::resetToSystem));
    setShown(resetButton_, store_.shouldShowResetToSystemAction());
    testButton_->setText(text(L10nKey::testCurveTarget));
    setShown(testButton_, store_.shouldShowCurveTargetTestAction());

    const FanHardwareCapabilities& capabilities = store_.hardwareCapabilities();
    hardwareTitle_->setText(capabilities.isUnsupported()
                                ? text(L10nKey::hardwareRange) + QStringLiteral(" · ") +
                                      text(L10nKey::unsupported)
                                : text(L10nKey::hardwareRange));
    setTextIfChanged(hardwareRange_, qtext(L10n::format(L10nKey::range, store_.language(),
                                                        {store_.hardwareRangeText()})));
    setTextIfChanged(
        hardwareDetail_,
        text(L10nKey::detectedRange) + QStringLiteral(": ") +
            (capabilities.hasRPMAxis() ? qtext(store_.hardwareDetailText()) : text(L10nKey::none)));
    refreshSensors();
    detectAgainButton_->setText(text(L10nKey::detectAgain));
    adminDetectButton_->setText(text(L10nKey::readOnlyAdminDetect));
    const bool showsDetection = store_.shouldShowHardwareDetectionActions();
    setShown(detectAgainButton_, showsDetection);
    setShown(adminDetectButton_, showsDetection);
    useHardwareRangeButton_->setText(text(L10nKey::useHardwareRange));
    setShown(useHardwareRangeButton_, store_.shouldShowUseHardwareRangeAction());
    calibrateButton_->setText(text(L10nKey::calibrateFans));
    setShown(calibrateButton_, store_.shouldShowCalibrateAction());
    cancelCalibrationButton_->setText(text(L10nKey::cancel));
    const std::optional<std::string> calibration = store_.calibrationProgressText();
    setTextIfChanged(calibrationProgress_, calibration ? qtext(*calibration) : QString());
    setShown(calibrationProgress_, calibration.has_value());
    setShown(cancelCalibrationButton_, store_.isCalibrating());

    // The safety plan speaks fixed English on purpose: it is what support asks about.
    const FanWriteSafetyPlan plan = store_.writeSafetyPlan();
    writePathTitle_->setText(text(L10nKey::writePath));
    setTextIfChanged(planTitle_, qtext(plan.title));
    setTextIfChanged(planDetail_, qtext(plan.detail));
    const QColor ink = palette().color(QPalette::WindowText);
    while (requirements_.size() < plan.requirements.size()) {
        auto* row = new QHBoxLayout;
        row->setSpacing(8);
        Requirement requirement{new QLabel(this), new QLabel(this), std::nullopt};
        requirement.mark->setFixedSize(14, 14);
        requirement.title->setWordWrap(true);
        QFont small = requirement.title->font();
        small.setPointSizeF(small.pointSizeF() * 0.9);
        requirement.title->setFont(small);
        row->addWidget(requirement.mark, 0, Qt::AlignTop);
        row->addWidget(requirement.title, 1);
        requirementsLayout_->addLayout(row);
        requirements_.push_back(requirement);
    }
    for (std::size_t i = 0; i < requirements_.size(); ++i) {
        const bool exists = i < plan.requirements.size();
        setShown(requirements_[i].mark, exists);
        setShown(requirements_[i].title, exists);
        if (exists) {
            const FanWriteRequirement& requirement = plan.requirements[i];
            // A new picture relays out the column, so only when the mark changes.
            if (requirements_[i].isSatisfied != requirement.isSatisfied) {
                requirements_[i].isSatisfied = requirement.isSatisfied;
                requirements_[i].mark->setPixmap(requirementMark(requirement.isSatisfied, ink));
            }
            setTextIfChanged(requirements_[i].title, qtext(requirement.title));
        }
    }
    requirementsButton_->setText(text(L10nKey::showWriteRequirements));
    setShown(requirementsButton_, store_.shouldShowWriteRequirementsAction());
    helperButton_->setText(qtext(store_.helperInstallActionTitle()));
    setShown(helperButton_, store_.shouldShowHelperInstallAction());

    appTitle_->setText(text(L10nKey::appSettings));
    languageLabel_->setText(text(L10nKey::language));
    languagePicker_->setCurrentIndex(static_cast<int>(store_.language()));
    loginSwitch_->setText(text(L10nKey::launchAtLogin));
    {
        const QSignalBlocker quiet(loginSwitch_);
        loginSwitch_->setChecked(store_.launchAtLoginStatus() != LoginItemStatus::disabled);
    }
    const auto loginText = store_.launchAtLoginStatusText();
    setTextIfChanged(loginStatus_, loginText ? qtext(*loginText) : QString());
    setShown(loginStatus_, loginText.has_value());
    updateButton_->setText(text(L10nKey::checkForUpdates));
    updateButton_->setEnabled(!store_.isCheckingForUpdates());
    const auto updateText = store_.updateStatusText();
    setTextIfChanged(updateStatus_, updateText ? qtext(*updateText) : QString());
    setShown(updateStatus_, updateText.has_value());
    updatePageButton_->setText(text(L10nKey::openUpdatePage));
    const auto& result = store_.updateCheckResult();
    setShown(updatePageButton_, result && result->releaseURL);

    safetyNote_->setText(text(L10nKey::fanWritesSafetyNote));
}

} // namespace windlark
