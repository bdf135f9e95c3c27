#pragma once

#include "store/WindlarkStore.h"
#include "support/CancellationHandle.h"

#include <QWidget>
#include <array>

class QButtonGroup;
class QLabel;
class QPushButton;
class QToolButton;

namespace windlark {

class AxisSettingsView;
class CurveGraphView;
class StatusSidebarView;

// The curve editor window's content: a header, the graph with its presets, history window
// and point commands, the axis settings below it, the status sidebar beside it and the
// store's status line at the bottom, always in view.
class ContentView final : public QWidget {
    Q_OBJECT

public:
    explicit ContentView(WindlarkStore& store, QWidget* parent = nullptr);
    ~ContentView() override;

    [[nodiscard]] CurveGraphView* graph() const { return graph_; }
    [[nodiscard]] AxisSettingsView* axisSettings() const { return axisSettings_; }
    [[nodiscard]] StatusSidebarView* sidebar() const { return sidebar_; }

    [[nodiscard]] QSize sizeHint() const override { return {1280, 820}; }

private:
    void refresh();

    WindlarkStore& store_;
    CancellationHandle subscription_;
    QLabel* title_;
    QLabel* subtitle_;
    QLabel* simulatedNote_;
    QLabel* presetsLabel_;
    QLabel* windowLabel_;
    QButtonGroup* windowGroup_;
    std::array<QToolButton*, 4> windowButtons_{};
    QPushButton* addPointButton_;
    QPushButton* removePointButton_;
    CurveGraphView* graph_;
    AxisSettingsView* axisSettings_;
    StatusSidebarView* sidebar_;
    QLabel* statusLine_;
};

} // namespace windlark
