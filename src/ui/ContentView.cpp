#include "ui/ContentView.h"

#include "curve/CurvePreset.h"
#include "curve/ThermalHistoryWindow.h"
#include "ui/AxisSettingsView.h"
#include "ui/CurveGraphView.h"
#include "ui/EditorStyle.h"
#include "ui/StatusSidebarView.h"

#include <QButtonGroup>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QToolButton>
#include <QVBoxLayout>

namespace windlark {

namespace {

using EditorStyle::qtext;

constexpr int sidebarWidth = 340;

} // namespace

ContentView::ContentView(WindlarkStore& store, QWidget* parent)
    : QWidget(parent)
    , store_(store)
    , title_(new QLabel(this))
    , subtitle_(new QLabel(this))
    , simulatedNote_(new QLabel(this))
    , presetsLabel_(new QLabel(this))
    , windowLabel_(new QLabel(this))
    , windowGroup_(new QButtonGroup(this))
    , addPointButton_(new QPushButton(this))
    , removePointButton_(new QPushButton(this))
    , graph_(new CurveGraphView(store, this))
    , axisSettings_(new AxisSettingsView(store, this))
    , sidebar_(new StatusSidebarView(store, this))
    , statusLine_(new QLabel(this)) {
    EditorStyle::makeTitle(title_, 1.5);
    EditorStyle::makeSecondary(subtitle_);

    // Plain words, on a tinted background, so nobody mistakes the simulation for their Mac.
    simulatedNote_->setWordWrap(true);
    simulatedNote_->setObjectName(QStringLiteral("simulatedNote"));
    simulatedNote_->setStyleSheet(
        QStringLiteral("#simulatedNote { background: #fdf1dc; color: #7a4a06; border: 1px solid "
                       "#efc987; border-radius: 6px; padding: 6px 10px; }"));
    simulatedNote_->setVisible(store_.isSimulatedMachine());

    // Presets, the history window, and the point commands above the graph.
    auto* toolbar = new QHBoxLayout;
    toolbar->setSpacing(6);
    toolbar->addWidget(presetsLabel_);
    for (const CurvePreset preset : allCases<CurvePreset>) {
        // Preset names are names, shown as they are in every language.
        auto* button = new QToolButton(this);
        button->setText(qtext(rawValue(preset)));
        connect(button, &QToolButton::clicked, this, [this, preset] { store_.setPreset(preset); });
        toolbar->addWidget(button);
    }
    toolbar->addSpacing(14);
    toolbar->addWidget(windowLabel_);
    windowGroup_->setExclusive(true);
    for (std::size_t i = 0; i < windowButtons_.size(); ++i) {
        auto* button = new QToolButton(this);
        button->setCheckable(true);
        windowGroup_->addButton(button, static_cast<int>(i));
        toolbar->addWidget(button);
        windowButtons_[i] = button;
    }
    connect(windowGroup_, &QButtonGroup::idClicked, this, [this](int id) {
        store_.setThermalHistoryWindow(allCases<ThermalHistoryWindow>.at(static_cast<std::size_t>(id)));
    });
    toolbar->addStretch(1);
    toolbar->addWidget(addPointButton_);
    toolbar->addWidget(removePointButton_);
    connect(addPointButton_, &QPushButton::clicked, this, [this] { store_.addPoint(); });
    connect(removePointButton_, &QPushButton::clicked, this, [this] { store_.removePoint(); });

    // The sidebar runs the full height beside the header, the graph and the axes.
    auto* editor = new QVBoxLayout;
    editor->setSpacing(8);
    editor->addWidget(title_);
    editor->addWidget(subtitle_);
    editor->addWidget(simulatedNote_);
    editor->addSpacing(2);
    editor->addLayout(toolbar);
    editor->addWidget(graph_, 1);
    editor->addWidget(axisSettings_);

    auto* scroll = new QScrollArea(this);
    scroll->setWidget(sidebar_);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFixedWidth(sidebarWidth);
    scroll->viewport()->setAutoFillBackground(false);

    auto* body = new QHBoxLayout;
    body->setSpacing(14);
    body->addLayout(editor, 1);
    body->addWidget(scroll);

    auto* separator = new QFrame(this);
    separator->setFrameShape(QFrame::HLine);
    separator->setFrameShadow(QFrame::Plain);
    separator->setStyleSheet(QStringLiteral("color: palette(midlight);"));
    statusLine_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    statusLine_->setObjectName(QStringLiteral("statusLine"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(18, 14, 18, 8);
    layout->setSpacing(8);
    layout->addLayout(body, 1);
    layout->addWidget(separator);
    layout->addWidget(statusLine_);

    subscription_ = store_.subscribe([this](StoreChanges) { refresh(); });
    refresh();
}

ContentView::~ContentView() = default;

void ContentView::refresh() {
    const auto text = [this](L10nKey key) { return qtext(store_, key); };
    const AppLanguage language = store_.language();
    title_->setText(text(L10nKey::curveEditor));
    subtitle_->setText(text(L10nKey::curveEditorSubtitle));
    simulatedNote_->setText(text(L10nKey::simulatedMachine));
    presetsLabel_->setText(text(L10nKey::presets));
    windowLabel_->setText(text(L10nKey::thermalWindow));
    for (std::size_t i = 0; i < windowButtons_.size(); ++i) {
        const ThermalHistoryWindow window = allCases<ThermalHistoryWindow>[i];
        windowButtons_[i]->setText(qtext(title(window, language)));
        windowButtons_[i]->setChecked(window == store_.thermalHistoryWindow());
    }
    addPointButton_->setText(text(L10nKey::addPoint));
    removePointButton_->setText(text(L10nKey::removePoint));
    // The profile never drops below two points; say so by disabling the command.
    removePointButton_->setEnabled(store_.profile().points.size() > 2);

    // The store's last outcome, or, before there is one, what the fan is doing.
    if (const auto& status = store_.hardwareProbeStatus()) {
        statusLine_->setText(qtext(*status));
    } else {
        statusLine_->setText(qtext(store_.effectiveModeTitle()) + QStringLiteral(": ") +
                             qtext(store_.effectiveModeDetail()));
    }
}

} // namespace windlark
