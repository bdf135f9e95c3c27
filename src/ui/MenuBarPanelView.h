#pragma once

#include "curve/FanControlMode.h"
#include "support/CancellationHandle.h"

#include <QColor>
#include <QSize>
#include <QWidget>
#include <functional>
#include <string>

class QAbstractButton;
class QLabel;
class QPushButton;

namespace windlark {

class WindlarkStore;

// The compact view the status item opens: the live reading, the mode, the curve switch
// and the few actions that do not need the editor. It keeps no state of its own; every
// text and every row's visibility comes from the store, in the store's language.
//
// While hidden it does not follow the store (the panel is closed nearly all the time);
// showing it brings it up to date first.
class MenuBarPanelView final : public QWidget {
    Q_OBJECT

public:
    static constexpr QSize contentSize{300, 430};

    struct Actions {
        std::function<void()> openEditor;
        std::function<void()> quit;
        std::function<void()> about;
    };

    MenuBarPanelView(WindlarkStore& store, Actions actions, QWidget* parent = nullptr);
    ~MenuBarPanelView() override;
    MenuBarPanelView(const MenuBarPanelView&) = delete;
    MenuBarPanelView& operator=(const MenuBarPanelView&) = delete;

    // The badge colour of each mode.
    [[nodiscard]] static QColor modeTint(FanControlMode mode);

    // Redraws everything from the store now, shown or not.
    void refresh();

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void build();
    void refreshIcons();

    WindlarkStore& store_;
    Actions actions_;
    CancellationHandle subscription_;
    bool isStale_ = true;
    std::string helperIconName_;

    QLabel* fanIcon_ = nullptr;
    QLabel* title_ = nullptr;
    QLabel* modeBadge_ = nullptr;
    QLabel* simulatedNote_ = nullptr;
    QLabel* temperatureCaption_ = nullptr;
    QLabel* temperatureValue_ = nullptr;
    QLabel* fanCaption_ = nullptr;
    QLabel* fanValue_ = nullptr;
    QLabel* curveCaption_ = nullptr;
    QLabel* curveValue_ = nullptr;
    QLabel* limitCaption_ = nullptr;
    QLabel* limitValue_ = nullptr;
    QLabel* curveEffect_ = nullptr;
    QAbstractButton* curveSwitch_ = nullptr;
    QLabel* rangeCaption_ = nullptr;
    QPushButton* openEditorButton_ = nullptr;
    QPushButton* resetButton_ = nullptr;
    QPushButton* helperButton_ = nullptr;
    QPushButton* testButton_ = nullptr;
    QLabel* statusLine_ = nullptr;
    QPushButton* quitButton_ = nullptr;
};

} // namespace windlark
