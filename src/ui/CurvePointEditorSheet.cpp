#include "ui/CurvePointEditorSheet.h"

#include "store/CurveGraphGeometry.h"
#include "text/Formatters.h"
#include "ui/EditorStyle.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace windlark {

namespace {

const WindlarkPoint* findPoint(const WindlarkProfile& profile, const Uuid& id) {
    const auto found = std::find_if(profile.points.begin(), profile.points.end(),
                                    [&](const WindlarkPoint& point) { return point.id == id; });
    return found == profile.points.end() ? nullptr : &*found;
}

} // namespace

CurvePointEditorSheet::CurvePointEditorSheet(WindlarkStore& store, const Uuid& pointID,
                                             QWidget* parent)
    : QDialog(parent)
    , store_(store)
    , pointID_(pointID)
    , title_(new QLabel(this))
    , subtitle_(new QLabel(this))
    , temperatureLabel_(new QLabel(this))
    , rpmLabel_(new QLabel(this))
    , temperatureAllowed_(new QLabel(this))
    , rpmAllowed_(new QLabel(this))
    , crowdedNote_(new QLabel(this))
    , temperatureField_(new QLineEdit(this))
    , rpmField_(new QLineEdit(this))
    , cancelButton_(new QPushButton(this))
    , saveButton_(new QPushButton(this)) {
    setWindowModality(Qt::WindowModal);
    if (const WindlarkPoint* point = findPoint(store_.profile(), pointID_)) {
        initialTemperatureC_ = point->temperatureC;
        initialRPM_ = point->rpm;
    }
    temperatureField_->setObjectName(QStringLiteral("temperatureField"));
    rpmField_->setObjectName(QStringLiteral("rpmField"));
    temperatureField_->setText(EditorStyle::editableNumber(initialTemperatureC_));
    rpmField_->setText(EditorStyle::editableNumber(initialRPM_));
    for (QLineEdit* field : {temperatureField_, rpmField_}) {
        field->setMinimumWidth(120);
        field->setAlignment(Qt::AlignRight);
    }

    EditorStyle::makeTitle(title_, 1.15);
    EditorStyle::makeSecondary(subtitle_);
    EditorStyle::makeSecondary(temperatureAllowed_);
    EditorStyle::makeSecondary(rpmAllowed_);
    crowdedNote_->setWordWrap(true);
    QPalette cautionPalette = crowdedNote_->palette();
    cautionPalette.setColor(QPalette::WindowText, EditorStyle::caution().darker(120));
    crowdedNote_->setPalette(cautionPalette);

    auto* fields = new QGridLayout;
    fields->setHorizontalSpacing(12);
    fields->addWidget(temperatureLabel_, 0, 0);
    fields->addWidget(temperatureField_, 0, 1);
    fields->addWidget(new QLabel(QStringLiteral("C"), this), 0, 2);
    fields->addWidget(temperatureAllowed_, 1, 1, 1, 2);
    fields->addWidget(rpmLabel_, 2, 0);
    fields->addWidget(rpmField_, 2, 1);
    fields->addWidget(new QLabel(QStringLiteral("RPM"), this), 2, 2);
    fields->addWidget(rpmAllowed_, 3, 1, 1, 2);
    fields->setColumnStretch(1, 1);

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(cancelButton_, QDialogButtonBox::RejectRole);
    buttons->addButton(saveButton_, QDialogButtonBox::AcceptRole);
    saveButton_->setDefault(true);
    connect(cancelButton_, &QPushButton::clicked, this, &QDialog::reject);
    connect(saveButton_, &QPushButton::clicked, this, &CurvePointEditorSheet::save);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 16);
    layout->setSpacing(10);
    layout->addWidget(title_);
    layout->addWidget(subtitle_);
    layout->addSpacing(4);
    layout->addLayout(fields);
    layout->addWidget(crowdedNote_);
    layout->addWidget(buttons);
    setMinimumWidth(400);

    subscription_ = store_.subscribe([this](StoreChanges) { refresh(); });
    refresh();
}

CurvePointEditorSheet::~CurvePointEditorSheet() = default;

void CurvePointEditorSheet::refresh() {
    const auto text = [this](L10nKey key) { return EditorStyle::qtext(store_, key); };
    setWindowTitle(text(L10nKey::pointEditorTitle));
    title_->setText(text(L10nKey::pointEditorTitle));
    subtitle_->setText(text(L10nKey::pointEditorSubtitle));
    temperatureLabel_->setText(text(L10nKey::temperature));
    rpmLabel_->setText(text(L10nKey::fanSpeed));
    cancelButton_->setText(text(L10nKey::cancel));
    saveButton_->setText(text(L10nKey::save));

    const auto bounds = store_.profile().editingBounds(pointID_);
    const auto allowed = [this](double lower, double upper, auto format) {
        return EditorStyle::qtext(
            L10n::format(L10nKey::allowedRange, store_.language(), {format(lower), format(upper)}));
    };
    temperatureAllowed_->setVisible(bounds.has_value());
    rpmAllowed_->setVisible(bounds.has_value());
    if (bounds) {
        temperatureAllowed_->setText(allowed(bounds->temperature.lower, bounds->temperature.upper,
                                             Formatters::temperature));
        rpmAllowed_->setText(allowed(bounds->rpm.lower, bounds->rpm.upper, Formatters::rpm));
    }
    // A point squeezed between close neighbours takes no values at all; say so instead of
    // offering a Save that would change nothing.
    const bool exists = findPoint(store_.profile(), pointID_) != nullptr;
    crowdedNote_->setVisible(exists && !bounds);
    crowdedNote_->setText(text(L10nKey::crowdedPoint));
    saveButton_->setEnabled(bounds.has_value());
}

void CurvePointEditorSheet::save() {
    const double temperatureC = parseTypedNumber(temperatureField_->text().toStdString())
                                    .value_or(initialTemperatureC_);
    const double rpm = parseTypedNumber(rpmField_->text().toStdString()).value_or(initialRPM_);
    // The store keeps the values within the point's bounds.
    store_.updatePoint(pointID_, temperatureC, rpm);
    accept();
}

} // namespace windlark
