#include "ui/MenuBarPanelView.h"

#include "store/WindlarkStore.h"
#include "text/Formatters.h"
#include "text/L10n.h"
#include "ui/QtText.h"
#include "ui/Symbols.h"

#include <QAbstractButton>
#include <QContextMenuEvent>
#include <QEvent>
#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QTextLayout>
#include <QVBoxLayout>
#include <vector>

namespace windlark {
namespace {

// A switch drawn as a pill with a knob, its label on the leading side: a check box would
// read as "remember this" rather than "the fan is under my control now".
class ToggleSwitch final : public QAbstractButton {
public:
    explicit ToggleSwitch(QWidget* parent)
        : QAbstractButton(parent) {
        setCheckable(true);
        setCursor(Qt::PointingHandCursor);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

    void setTint(const QColor& tint) {
        tint_ = tint;
        update();
    }

    [[nodiscard]] QSize sizeHint() const override {
        return {fontMetrics().horizontalAdvance(text()) + kTrackWidth + 12,
                std::max(kTrackHeight + 8, fontMetrics().height() + 8)};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
        const QRect textBox = rect().adjusted(0, 0, -(kTrackWidth + 8), 0);
        painter.setPen(palette().color(group, QPalette::WindowText));
        painter.drawText(textBox, Qt::AlignVCenter | Qt::AlignLeft,
                         fontMetrics().elidedText(text(), Qt::ElideRight, textBox.width()));

        const QRectF track(width() - kTrackWidth - 1.0, (height() - kTrackHeight) / 2.0,
                           kTrackWidth, kTrackHeight);
        QColor fill = isChecked() ? tint_ : palette().color(group, QPalette::Mid);
        if (!isEnabled()) {
            fill.setAlphaF(0.4F);
        }
        painter.setPen(Qt::NoPen);
        painter.setBrush(fill);
        painter.drawRoundedRect(track, kTrackHeight / 2.0, kTrackHeight / 2.0);
        const qreal knob = kTrackHeight - 4.0;
        const qreal knobX = isChecked() ? track.right() - knob - 2.0 : track.left() + 2.0;
        painter.setBrush(isEnabled() ? QColor(Qt::white) : QColor(245, 245, 245));
        painter.drawEllipse(QRectF(knobX, track.top() + 2.0, knob, knob));
        if (hasFocus()) {
            painter.setBrush(Qt::NoBrush);
            painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
            painter.drawRoundedRect(track.adjusted(-2, -2, 2, 2), kTrackHeight / 2.0 + 2,
                                    kTrackHeight / 2.0 + 2);
        }
    }

private:
    static constexpr int kTrackWidth = 36;
    static constexpr int kTrackHeight = 20;
    QColor tint_{Qt::darkGreen};
};

QLabel* makeLabel(QWidget* parent, const char* name, qreal pointSizeFactor = 1.0,
                  QFont::Weight weight = QFont::Normal) {
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    QFont font = label->font();
    if (pointSizeFactor != 1.0) {
        font.setPointSizeF(font.pointSizeF() * pointSizeFactor);
    }
    font.setWeight(weight);
    label->setFont(font);
    return label;
}

QPushButton* makeRowButton(QWidget* parent, const char* name) {
    auto* button = new QPushButton(parent);
    button->setObjectName(QLatin1String(name));
    button->setProperty("panelRow", true);
    button->setCursor(Qt::PointingHandCursor);
    button->setIconSize(QSize(16, 16));
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    return button;
}

// Symbol names the store uses for the helper button, mapped onto the symbols drawn here.
Symbols::Symbol helperSymbol(const std::string& name) {
    return name == "arrow.clockwise.circle" ? Symbols::Symbol::arrowCycle : Symbols::Symbol::shield;
}

QColor secondaryColour(const QPalette& palette) {
    QColor colour = palette.color(QPalette::WindowText);
    colour.setAlphaF(0.62F);
    return colour;
}

// The store's status can run to a paragraph (the write plan's missing requirements, the
// helper's answer); the fixed panel shows its first `lines` lines, the last one elided.
QString firstLines(const QString& text, const QFont& font, int width, int lines) {
    QTextLayout layout(text, font);
    std::vector<int> starts;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        starts.push_back(line.textStart());
    }
    layout.endLayout();
    if (starts.size() <= static_cast<std::size_t>(lines)) {
        return text;
    }
    const int last = starts[static_cast<std::size_t>(lines - 1)];
    return text.left(last) + QFontMetrics(font).elidedText(text.mid(last), Qt::ElideRight, width);
}

} // namespace

MenuBarPanelView::MenuBarPanelView(WindlarkStore& store, Actions actions, QWidget* parent)
    : QWidget(parent)
    , store_(store)
    , actions_(std::move(actions)) {
    setObjectName(QStringLiteral("menuBarPanel"));
    setFixedSize(contentSize);
    setFocusPolicy(Qt::ClickFocus);
    build();
    subscription_ = store_.subscribe([this](StoreChanges) {
        if (isVisible() && !isMinimized()) {
            refresh();
        } else {
            isStale_ = true;
        }
    });
    refresh();
}

MenuBarPanelView::~MenuBarPanelView() = default;

QColor MenuBarPanelView::modeTint(FanControlMode mode) {
    switch (mode) {
    case FanControlMode::curve:
        return {0x1F, 0x8A, 0x4C}; // green: our curve drives the fan
    case FanControlMode::safety:
        return {0xD9, 0x6C, 0x00}; // orange: the fan is asked for everything it has
    case FanControlMode::system:
        break;
    }
    return {0x6E, 0x6E, 0x73}; // grey: macOS is in charge
}

void MenuBarPanelView::build() {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(8);

    // 1. Header: the symbol, the name and the mode badge.
    auto* header = new QHBoxLayout;
    header->setSpacing(6);
    fanIcon_ = new QLabel(this);
    fanIcon_->setObjectName(QStringLiteral("fanIcon"));
    fanIcon_->setFixedSize(20, 20);
    title_ = makeLabel(this, "title", 1.15, QFont::DemiBold);
    modeBadge_ = makeLabel(this, "modeBadge", 0.85, QFont::DemiBold);
    modeBadge_->setAlignment(Qt::AlignCenter);
    header->addWidget(fanIcon_);
    header->addWidget(title_);
    header->addStretch(1);
    header->addWidget(modeBadge_);
    layout->addLayout(header);

    // A simulated Mac says so right under the name, so nobody mistakes it for their fan.
    simulatedNote_ = makeLabel(this, "simulatedNote", 0.85, QFont::DemiBold);
    simulatedNote_->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    layout->addWidget(simulatedNote_, 0, Qt::AlignLeft);

    // 2. Metrics: two rows of caption-over-value cells, and what the curve would do.
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(2);
    const auto addCell = [&](QLabel*& caption, QLabel*& value, const char* captionName,
                             const char* valueName, int row, int column) {
        caption = makeLabel(this, captionName, 0.85);
        value = makeLabel(this, valueName, 1.3, QFont::DemiBold);
        grid->addWidget(caption, row * 3, column);
        grid->addWidget(value, row * 3 + 1, column);
    };
    addCell(temperatureCaption_, temperatureValue_, "temperatureCaption", "temperatureValue", 0, 0);
    addCell(fanCaption_, fanValue_, "fanCaption", "fanValue", 0, 1);
    addCell(curveCaption_, curveValue_, "curveCaption", "curveValue", 1, 0);
    addCell(limitCaption_, limitValue_, "limitCaption", "limitValue", 1, 1);
    grid->setRowMinimumHeight(2, 6); // a little air between the two rows of cells
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 1);
    layout->addLayout(grid);
    curveEffect_ = makeLabel(this, "curveEffect", 0.9);
    curveEffect_->setWordWrap(true);
    layout->addWidget(curveEffect_);

    // 3. The curve-control switch.
    auto* curveSwitch = new ToggleSwitch(this);
    curveSwitch->setObjectName(QStringLiteral("curveSwitch"));
    curveSwitch_ = curveSwitch;
    connect(curveSwitch_, &QAbstractButton::clicked, this,
            [this](bool isChecked) { store_.setCurveEnabled(isChecked); });
    layout->addWidget(curveSwitch_);

    // 4. The hardware range.
    rangeCaption_ = makeLabel(this, "rangeCaption", 0.85);
    rangeCaption_->setWordWrap(true);
    layout->addWidget(rangeCaption_);

    // 5. Divider.
    auto* divider = new QFrame(this);
    divider->setObjectName(QStringLiteral("divider"));
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    layout->addWidget(divider);

    // 6-9. Actions. The rows that come and go sit above a stretch, so that showing or
    // hiding one moves nothing but the rows beneath it.
    openEditorButton_ = makeRowButton(this, "openEditorButton");
    resetButton_ = makeRowButton(this, "resetButton");
    helperButton_ = makeRowButton(this, "helperButton");
    testButton_ = makeRowButton(this, "testButton");
    connect(openEditorButton_, &QPushButton::clicked, this, [this] {
        if (actions_.openEditor) {
            actions_.openEditor();
        }
    });
    connect(resetButton_, &QPushButton::clicked, this, [this] { store_.resetToSystem(); });
    connect(helperButton_, &QPushButton::clicked, this,
            [this] { store_.installPrivilegedHelper(); });
    connect(testButton_, &QPushButton::clicked, this, [this] { store_.applyCurveTargetLease(); });
    for (QPushButton* button : {openEditorButton_, resetButton_, helperButton_, testButton_}) {
        layout->addWidget(button);
    }
    layout->addStretch(1);

    // The store's one status line: what the last action or the helper said.
    statusLine_ = makeLabel(this, "statusLine", 0.85);
    statusLine_->setWordWrap(true);
    layout->addWidget(statusLine_);

    // 10. Quit.
    quitButton_ = makeRowButton(this, "quitButton");
    connect(quitButton_, &QPushButton::clicked, this, [this] {
        if (actions_.quit) {
            actions_.quit();
        }
    });
    layout->addWidget(quitButton_);

    setStyleSheet(QStringLiteral(
        "QPushButton[panelRow=\"true\"] { text-align: left; padding: 5px 8px; border: none;"
        " border-radius: 6px; background: transparent; }"
        "QPushButton[panelRow=\"true\"]:hover { background: palette(midlight); }"
        "QPushButton[panelRow=\"true\"]:pressed { background: palette(mid); }"
        "QLabel#modeBadge { color: white; border-radius: 8px; padding: 2px 9px; }"
        "QLabel#simulatedNote { color: #7A4E00; background: #FCEFC7; border: 1px solid #E8C56A;"
        " border-radius: 7px; padding: 1px 8px; }"));
    refreshIcons();
}

void MenuBarPanelView::refreshIcons() {
    const QColor ink = palette().color(QPalette::WindowText);
    fanIcon_->setPixmap(Symbols::icon(Symbols::Symbol::fan, ink).pixmap(20, 20));
    openEditorButton_->setIcon(Symbols::icon(Symbols::Symbol::sliders, ink));
    testButton_->setIcon(Symbols::icon(Symbols::Symbol::fan, ink));
    resetButton_->setIcon(Symbols::icon(Symbols::Symbol::arrowCycle, ink));
    quitButton_->setIcon(Symbols::icon(Symbols::Symbol::power, ink));
    helperIconName_ = store_.helperInstallActionIcon();
    helperButton_->setIcon(Symbols::icon(helperSymbol(helperIconName_), ink));

    const QColor secondary = secondaryColour(palette());
    for (QLabel* label : {temperatureCaption_, fanCaption_, curveCaption_, limitCaption_,
                          curveEffect_, rangeCaption_, statusLine_}) {
        QPalette labelPalette = label->palette();
        labelPalette.setColor(QPalette::WindowText, secondary);
        label->setPalette(labelPalette);
    }
}

void MenuBarPanelView::refresh() {
    isStale_ = false;
    const AppLanguage language = store_.language();
    const auto text = [language](L10nKey key) { return toQString(L10n::text(key, language)); };

    title_->setText(text(L10nKey::windlarkMac));
    modeBadge_->setText(toQString(store_.effectiveModeTitle()));
    modeBadge_->setStyleSheet(
        QStringLiteral("background-color: %1;").arg(modeTint(store_.effectiveMode()).name()));

    simulatedNote_->setVisible(store_.isSimulatedMachine());
    simulatedNote_->setText(text(L10nKey::simulatedFan));
    simulatedNote_->setToolTip(toQString(store_.hardwareDetailText()));

    temperatureCaption_->setText(toQString(store_.menuTemperatureLabel()));
    temperatureValue_->setText(toQString(Formatters::temperature(store_.snapshot().temperatureC)));
    fanCaption_->setText(toQString(store_.menuRPMLabel()));
    fanValue_->setText(toQString(store_.menuFanValueText()));
    curveCaption_->setText(text(L10nKey::curve));
    curveValue_->setText(toQString(store_.curveTargetValueText()));
    limitCaption_->setText(text(L10nKey::limit));
    limitValue_->setText(toQString(Formatters::temperature(store_.profile().safetyLimitC)));
    curveEffect_->setText(toQString(store_.curveEffectLabel()));

    curveSwitch_->setText(text(L10nKey::controlWithCurve));
    curveSwitch_->setChecked(store_.isCurveEnabled());
    curveSwitch_->setEnabled(!store_.hardwareCapabilities().isUnsupported());
    static_cast<ToggleSwitch*>(curveSwitch_)->setTint(modeTint(FanControlMode::curve));

    rangeCaption_->setText(
        toQString(L10n::format(L10nKey::range, language, {store_.hardwareRangeText()})));

    openEditorButton_->setText(text(L10nKey::openCurveEditor));
    resetButton_->setText(text(L10nKey::resetToSystem));
    resetButton_->setVisible(store_.shouldShowResetToSystemAction());
    helperButton_->setText(toQString(store_.helperInstallActionTitle()));
    if (const std::string icon = store_.helperInstallActionIcon(); icon != helperIconName_) {
        helperIconName_ = icon;
        helperButton_->setIcon(
            Symbols::icon(helperSymbol(icon), palette().color(QPalette::WindowText)));
    }
    helperButton_->setVisible(store_.shouldShowHelperInstallAction());
    testButton_->setText(text(L10nKey::testCurveTarget));
    testButton_->setVisible(store_.shouldShowCurveTargetTestAction());

    const auto& status = store_.hardwareProbeStatus();
    statusLine_->setVisible(status.has_value() && !status->empty());
    const QString fullStatus = status ? toQString(*status) : QString();
    const QMargins margins = layout()->contentsMargins();
    // A few pixels short of the label, so that its own wrapping never needs a third line.
    const int statusWidth = contentSize.width() - margins.left() - margins.right() - 4;
    const QString shownStatus = firstLines(fullStatus, statusLine_->font(), statusWidth, 2);
    statusLine_->setText(shownStatus);
    statusLine_->setToolTip(shownStatus == fullStatus ? QString() : fullStatus);
    quitButton_->setText(text(L10nKey::quitWindlarkMac));
}

void MenuBarPanelView::showEvent(QShowEvent* event) {
    if (isStale_) {
        refresh();
    }
    // The panel itself takes the keyboard, so that no control opens with a focus ring.
    setFocus(Qt::OtherFocusReason);
    QWidget::showEvent(event);
}

void MenuBarPanelView::changeEvent(QEvent* event) {
    // Symbols take the text colour, so a switch between light and dark redraws them.
    if (event->type() == QEvent::PaletteChange && fanIcon_ != nullptr) {
        refreshIcons();
    }
    // A minimised panel window is not kept up to date either; coming back, it catches up.
    if (event->type() == QEvent::WindowStateChange && isStale_ && !isMinimized()) {
        refresh();
    }
    QWidget::changeEvent(event);
}

void MenuBarPanelView::contextMenuEvent(QContextMenuEvent* event) {
    if (!actions_.about) {
        return;
    }
    QMenu menu(this);
    menu.addAction(QStringLiteral("About Windlark Mac"), this, [this] { actions_.about(); });
    menu.exec(event->globalPos());
}

} // namespace windlark
