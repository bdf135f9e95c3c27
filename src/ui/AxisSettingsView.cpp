#include "ui/AxisSettingsView.h"

#include "text/Formatters.h"
#include "ui/EditorStyle.h"
#include "ui/NumberField.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>

namespace windlark {

namespace {

QLabel* unitLabel(const char* unit, QWidget* parent) {
    auto* label = new QLabel(QString::fromLatin1(unit), parent);
    EditorStyle::makeSecondary(label);
    label->setWordWrap(false);
    return label;
}

} // namespace

AxisSettingsView::AxisSettingsView(WindlarkStore& store, QWidget* parent)
    : QWidget(parent)
    , store_(store)
    , temperatureTitle_(new QLabel(this))
    , rpmTitle_(new QLabel(this))
    , limitTitle_(new QLabel(this))
    , fanOffTitle_(new QLabel(this))
    , temperatureMinimumLabel_(new QLabel(this))
    , temperatureMaximumLabel_(new QLabel(this))
    , rpmMinimumLabel_(new QLabel(this))
    , rpmMaximumLabel_(new QLabel(this))
    , fanOffBelowLabel_(new QLabel(this))
    , fanOffDescription_(new QLabel(this))
    , temperatureMinimum_(new NumberField(
          [this](double value) { store_.updateTemperatureAxis(value, std::nullopt); }, this))
    , temperatureMaximum_(new NumberField(
          [this](double value) { store_.updateTemperatureAxis(std::nullopt, value); }, this))
    , rpmMinimum_(
          new NumberField([this](double value) { store_.updateRPMAxis(value, std::nullopt); }, this))
    , rpmMaximum_(
          new NumberField([this](double value) { store_.updateRPMAxis(std::nullopt, value); }, this))
    , safetyLimit_(new NumberField([this](double value) { store_.updateSafetyLimit(value); }, this))
    , fanOffThreshold_(
          new NumberField([this](double value) { store_.updateFanOffThreshold(value); }, this))
    , fanOffSwitch_(new QCheckBox(this)) {
    EditorStyle::makeCard(this);
    setAttribute(Qt::WA_StyledBackground);
    for (QLabel* title : {temperatureTitle_, rpmTitle_, limitTitle_, fanOffTitle_}) {
        EditorStyle::makeTitle(title);
    }
    EditorStyle::makeSecondary(fanOffDescription_);
    for (NumberField* field : {temperatureMinimum_, temperatureMaximum_, rpmMinimum_, rpmMaximum_,
                               safetyLimit_, fanOffThreshold_}) {
        field->setFixedWidth(72);
    }
    connect(fanOffSwitch_, &QCheckBox::toggled, this, [this](bool isOn) {
        if (isOn != store_.profile().isFanOffThresholdEnabled) {
            store_.updateFanOffThresholdEnabled(isOn);
        }
    });

    // Four groups side by side, each a title over label-field-unit rows.
    const auto group = [this](QLabel* title) {
        auto* grid = new QGridLayout;
        grid->setHorizontalSpacing(8);
        grid->setVerticalSpacing(6);
        grid->addWidget(title, 0, 0, 1, 3);
        return grid;
    };
    QGridLayout* temperature = group(temperatureTitle_);
    temperature->addWidget(temperatureMinimumLabel_, 1, 0);
    temperature->addWidget(temperatureMinimum_, 1, 1);
    temperature->addWidget(unitLabel("C", this), 1, 2);
    temperature->addWidget(temperatureMaximumLabel_, 2, 0);
    temperature->addWidget(temperatureMaximum_, 2, 1);
    temperature->addWidget(unitLabel("C", this), 2, 2);

    QGridLayout* rpm = group(rpmTitle_);
    rpm->addWidget(rpmMinimumLabel_, 1, 0);
    rpm->addWidget(rpmMinimum_, 1, 1);
    rpm->addWidget(unitLabel("RPM", this), 1, 2);
    rpm->addWidget(rpmMaximumLabel_, 2, 0);
    rpm->addWidget(rpmMaximum_, 2, 1);
    rpm->addWidget(unitLabel("RPM", this), 2, 2);

    QGridLayout* limit = group(limitTitle_);
    limit->addWidget(safetyLimit_, 1, 0);
    limit->addWidget(unitLabel("C", this), 1, 1);
    limit->setColumnStretch(2, 1);

    QGridLayout* fanOff = group(fanOffTitle_);
    fanOff->addWidget(fanOffSwitch_, 1, 0, 1, 3);
    fanOff->addWidget(fanOffBelowLabel_, 2, 0);
    fanOff->addWidget(fanOffThreshold_, 2, 1);
    fanOff->addWidget(unitLabel("C", this), 2, 2);
    fanOff->addWidget(fanOffDescription_, 3, 0, 1, 3);

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(16, 12, 16, 12);
    row->setSpacing(28);
    for (QGridLayout* grid : {temperature, rpm, limit}) {
        grid->setAlignment(Qt::AlignTop);
        row->addLayout(grid);
    }
    fanOff->setAlignment(Qt::AlignTop);
    row->addLayout(fanOff, 1);

    subscription_ = store_.subscribe([this](StoreChanges changes) {
        // Readings alone change nothing here.
        if (changes != static_cast<StoreChanges>(StoreChange::snapshot)) {
            refresh();
        }
    });
    refresh();
}

AxisSettingsView::~AxisSettingsView() = default;

void AxisSettingsView::refresh() {
    const auto text = [this](L10nKey key) { return EditorStyle::qtext(store_, key); };
    const WindlarkProfile& profile = store_.profile();
    temperatureTitle_->setText(text(L10nKey::temperatureAxis));
    rpmTitle_->setText(text(L10nKey::fanSpeedAxis));
    limitTitle_->setText(text(L10nKey::safetyLimit));
    fanOffTitle_->setText(text(L10nKey::fanOff));
    for (QLabel* label : {temperatureMinimumLabel_, rpmMinimumLabel_}) {
        label->setText(text(L10nKey::minimum));
    }
    for (QLabel* label : {temperatureMaximumLabel_, rpmMaximumLabel_}) {
        label->setText(text(L10nKey::maximum));
    }
    fanOffSwitch_->setText(text(L10nKey::fanOffEnabled));
    fanOffBelowLabel_->setText(text(L10nKey::fanOffBelow));
    fanOffDescription_->setText(
        profile.isFanOffThresholdEnabled
            ? EditorStyle::qtext(L10n::format(L10nKey::fanOffRangeDescription, store_.language(),
                                              {Formatters::temperature(profile.fanOffThresholdC)}))
            : text(L10nKey::disabled));

    temperatureMinimum_->showValue(profile.temperatureAxis.minimum);
    temperatureMaximum_->showValue(profile.temperatureAxis.maximum);
    rpmMinimum_->showValue(profile.rpmAxis.minimum);
    rpmMaximum_->showValue(profile.rpmAxis.maximum);
    safetyLimit_->showValue(profile.safetyLimitC);
    fanOffThreshold_->showValue(profile.fanOffThresholdC);
    fanOffThreshold_->setEnabled(profile.isFanOffThresholdEnabled);
    const QSignalBlocker quiet(fanOffSwitch_);
    fanOffSwitch_->setChecked(profile.isFanOffThresholdEnabled);
}

} // namespace windlark
