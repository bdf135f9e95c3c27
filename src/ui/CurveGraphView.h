#pragma once

#include "curve/WindlarkProfile.h"
#include "store/WindlarkStore.h"
#include "support/CancellationHandle.h"
#include "support/Uuid.h"
#include "text/AppLanguage.h"
#include "ui/CurvePointEditorSheet.h"

#include <QPixmap>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QWidget>
#include <optional>
#include <vector>

namespace windlark {



// The fan curve over its two axes, shaded by where the temperature has been. Points are
// dragged with the pointer or moved with the arrow keys (Tab selects them in turn, Return
// opens the exact-value sheet); every move goes through the store, which keeps each point
// within its editing bounds.
//
// Painting is split in two layers: the backdrop (grid, ticks, histogram, fan-off band,
// safety limit) is drawn once into a pixmap and reused until one of its inputs changes;
// the curve, its points and labels and the live annotation are drawn over it, and a store
// change repaints only the pieces of them that moved.
class CurveGraphView final : public QWidget {
    Q_OBJECT

public:
    explicit CurveGraphView(WindlarkStore& store, QWidget* parent = nullptr);
    ~CurveGraphView() override;

    [[nodiscard]] const std::optional<Uuid>& selectedPoint() const { return selected_; }
    void selectPoint(std::optional<Uuid> id);
    // Opens the exact-value sheet for the point (window-modal) and returns it.
    CurvePointEditorSheet* openPointEditor(const Uuid& id);
    [[nodiscard]] CurvePointEditorSheet* pointEditor() const { return sheet_; }

    // Every text the graph paints right now, for checks that nothing stays untranslated.
    [[nodiscard]] QStringList paintedTexts() const;
    // How often the backdrop was drawn, so that its caching can be checked.
    [[nodiscard]] int backdropRenderCount() const { return backdropRenders_; }

    [[nodiscard]] QSize sizeHint() const override { return {900, 520}; }
    [[nodiscard]] QSize minimumSizeHint() const override { return {480, 300}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    // What the backdrop depends on; it is redrawn only when this changes.
    struct BackdropKey {
        QSize size;
        qreal pixelRatio = 1.0;
        WindlarkAxis temperatureAxis;
        WindlarkAxis rpmAxis;
        std::vector<double> bins;
        bool isFanOffEnabled = false;
        double fanOffThresholdC = 0.0;
        double safetyLimitC = 0.0;
        AppLanguage language = AppLanguage::english;
        qint64 paletteKey = 0;

        bool operator==(const BackdropKey&) const = default;
    };
    // One separately repainted piece of the top layer.
    struct Piece {
        QRectF rect;
        QString text;
        int style = 0;

        bool operator==(const Piece&) const = default;
    };
    struct PointMark {
        Uuid id;
        QPointF centre;
        QRectF labelRect;
        QString label;
        bool isCrowded = false;
    };
    // Where the top layer's pieces are for the store's current state.
    struct Overlay {
        std::vector<QPointF> curve;
        std::vector<PointMark> points;
        QPointF nowMarker;
        QRectF nowLine;
        QRectF nowLabelRect;
        QString nowLabel;
        QRectF noticeRect;
        QString notice;
        std::vector<Piece> pieces;
    };

    void storeChanged();
    [[nodiscard]] BackdropKey backdropKey() const;
    [[nodiscard]] Overlay layoutOverlay() const;
    void relayout();
    void renderBackdrop();
    void paintOverlay(QPainter& painter) const;
    [[nodiscard]] std::optional<Uuid> labelAt(QPointF position) const;
    [[nodiscard]] std::vector<WindlarkPoint> pointsInOrder() const;
    [[nodiscard]] bool isCrowded(const Uuid& id) const;

    WindlarkStore& store_;
    CancellationHandle subscription_;
    std::optional<Uuid> selected_;
    std::optional<Uuid> dragging_;
    bool hasDragStarted_ = false;
    QPointF pressPosition_;
    QPointer<CurvePointEditorSheet> sheet_;

    BackdropKey backdropKey_;
    bool hasBackdrop_ = false;
    QPixmap backdrop_;
    int backdropRenders_ = 0;
    Overlay overlay_;
};

} // namespace windlark
