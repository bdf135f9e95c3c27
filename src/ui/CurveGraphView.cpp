#include "ui/CurveGraphView.h"

#include "store/CurveGraphGeometry.h"
#include "text/Formatters.h"
#include "text/L10n.h"
#include "ui/CurvePointEditorSheet.h"
#include "ui/EditorStyle.h"

#include <QApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>
#include <algorithm>
#include <cmath>

namespace windlark {

namespace {

using EditorStyle::qtext;

QRectF toQt(const GraphRect& rect) {
    return {rect.x, rect.y, rect.width, rect.height};
}

QPointF toQt(GraphPoint point) {
    return {point.x, point.y};
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

CurveGraphGeometry geometryOf(const QWidget& widget, const WindlarkProfile& profile) {
    return {static_cast<double>(widget.width()), static_cast<double>(widget.height()),
            profile.temperatureAxis, profile.rpmAxis};
}

QFont smallFont(const QWidget& widget) {
    QFont font = widget.font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    return font;
}

// A text on a rounded background, as the band, limit and annotation labels are drawn.
void drawTag(QPainter& painter, const QRectF& rect, const QString& text, const QColor& fill,
             const QColor& border, const QColor& ink) {
    painter.setPen(QPen(border, 1.0));
    painter.setBrush(fill);
    painter.drawRoundedRect(rect.adjusted(0.5, 0.5, -0.5, -0.5), 5, 5);
    painter.setPen(ink);
    painter.drawText(rect, Qt::AlignCenter, text);
}

QSizeF tagSize(const QFontMetricsF& metrics, const QString& text) {
    return {metrics.horizontalAdvance(text) + 14.0, metrics.height() + 6.0};
}

} // namespace

CurveGraphView::CurveGraphView(WindlarkStore& store, QWidget* parent)
    : QWidget(parent)
    , store_(store) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    subscription_ = store_.subscribe([this](StoreChanges) { storeChanged(); });
    overlay_ = layoutOverlay();
}

CurveGraphView::~CurveGraphView() = default;

void CurveGraphView::selectPoint(std::optional<Uuid> id) {
    if (selected_ == id) {
        return;
    }
    selected_ = id;
    relayout();
}

CurvePointEditorSheet* CurveGraphView::openPointEditor(const Uuid& id) {
    if (sheet_) {
        sheet_->close();
    }
    selectPoint(id);
    sheet_ = new CurvePointEditorSheet(store_, id, this);
    sheet_->setAttribute(Qt::WA_DeleteOnClose);
    sheet_->open();
    return sheet_;
}

QStringList CurveGraphView::paintedTexts() const {
    const AppLanguage language = store_.language();
    QStringList texts{qtext(L10n::text(L10nKey::temperature, language)),
                      qtext(L10n::text(L10nKey::fanSpeed, language)),
                      qtext(L10n::text(L10nKey::limit, language))};
    if (store_.profile().isFanOffThresholdEnabled) {
        texts << qtext(L10n::text(L10nKey::fanOffRange, language));
    }
    texts << overlay_.nowLabel;
    if (!overlay_.notice.isEmpty()) {
        texts << overlay_.notice;
    }
    return texts;
}

// MARK: state

std::vector<WindlarkPoint> CurveGraphView::pointsInOrder() const {
    return store_.profile().sortedPoints();
}

bool CurveGraphView::isCrowded(const Uuid& id) const {
    return !store_.profile().editingBounds(id).has_value();
}

void CurveGraphView::storeChanged() {
    const WindlarkProfile& profile = store_.profile();
    const bool selectionExists =
        selected_ && std::any_of(profile.points.begin(), profile.points.end(),
                                 [&](const WindlarkPoint& point) { return point.id == *selected_; });
    if (!selectionExists) {
        selected_.reset();
        dragging_.reset();
    }
    relayout();
}

void CurveGraphView::relayout() {
    Overlay next = layoutOverlay();
    if (!hasBackdrop_ || backdropKey() != backdropKey_) {
        overlay_ = std::move(next);
        update();
        return;
    }
    // Repaint only the pieces that differ, where they were and where they are now.
    QRegion dirty;
    const std::size_t common = std::min(next.pieces.size(), overlay_.pieces.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (!(next.pieces[i] == overlay_.pieces[i])) {
            dirty += overlay_.pieces[i].rect.toAlignedRect();
            dirty += next.pieces[i].rect.toAlignedRect();
        }
    }
    for (std::size_t i = common; i < overlay_.pieces.size(); ++i) {
        dirty += overlay_.pieces[i].rect.toAlignedRect();
    }
    for (std::size_t i = common; i < next.pieces.size(); ++i) {
        dirty += next.pieces[i].rect.toAlignedRect();
    }
    overlay_ = std::move(next);
    if (!dirty.isEmpty()) {
        update(dirty);
    }
}

CurveGraphView::BackdropKey CurveGraphView::backdropKey() const {
    const WindlarkProfile& profile = store_.profile();
    BackdropKey key;
    key.size = size();
    key.pixelRatio = devicePixelRatioF();
    key.temperatureAxis = profile.temperatureAxis;
    key.rpmAxis = profile.rpmAxis;
    for (const ThermalDistributionBin& bin : store_.visibleThermalDistribution().bins) {
        key.bins.push_back(bin.normalizedCount);
    }
    key.isFanOffEnabled = profile.isFanOffThresholdEnabled;
    key.fanOffThresholdC = profile.fanOffThresholdC;
    key.safetyLimitC = profile.safetyLimitC;
    key.language = store_.language();
    key.paletteKey = palette().cacheKey();
    return key;
}

CurveGraphView::Overlay CurveGraphView::layoutOverlay() const {
    const WindlarkProfile& profile = store_.profile();
    const CurveGraphGeometry geometry = geometryOf(*this, profile);
    const QFontMetricsF metrics(smallFont(*this));
    Overlay overlay;

    for (const GraphPoint& point : geometry.curvePolyline(profile)) {
        overlay.curve.push_back(toQt(point));
    }
    for (std::size_t i = 1; i < overlay.curve.size(); ++i) {
        const QRectF segment = QRectF(overlay.curve[i - 1], overlay.curve[i]).normalized();
        overlay.pieces.push_back({segment.adjusted(-4, -4, 4, 4), {}, 0});
    }

    for (const WindlarkPoint& point : profile.points) {
        PointMark mark;
        mark.id = point.id;
        mark.centre = toQt(geometry.position(point.temperatureC, point.rpm));
        mark.label = qtext(Formatters::temperature(point.temperatureC)) + QStringLiteral(" · ") +
                     qtext(Formatters::rpm(point.rpm));
        const QSizeF size = tagSize(metrics, mark.label);
        mark.labelRect = toQt(geometry.valueLabelRect({mark.centre.x(), mark.centre.y()},
                                                      size.width(), size.height()));
        mark.isCrowded = isCrowded(point.id);
        const bool isSelected = selected_ == point.id;
        const int style = (isSelected ? 1 : 0) + (mark.isCrowded ? 2 : 0) + (hasFocus() ? 4 : 0);
        constexpr double reach = CurveGraphGeometry::pointDiameter / 2.0 + 8.0;
        overlay.pieces.push_back(
            {QRectF(mark.centre.x() - reach, mark.centre.y() - reach, 2 * reach, 2 * reach), {},
             style});
        overlay.pieces.push_back({mark.labelRect.adjusted(-1, -1, 1, 1), mark.label, style});
        overlay.points.push_back(std::move(mark));
    }

    // The live reading on the curve: where the machine is now and what the curve asks.
    const ThermalSnapshot& snapshot = store_.snapshot();
    const GraphRect& plot = geometry.plotArea();
    overlay.nowMarker = toQt(geometry.position(snapshot.temperatureC, store_.curveTargetRPM()));
    overlay.nowLine = QRectF(overlay.nowMarker.x() - 2, plot.minY(), 4, plot.height);
    overlay.nowLabel = qtext(L10n::format(L10nKey::currentTargetAnnotation, store_.language(),
                                          {store_.curveTargetValueText()}));
    const QSizeF nowSize = tagSize(metrics, overlay.nowLabel);
    double labelX = overlay.nowMarker.x() + 10;
    if (labelX + nowSize.width() > plot.maxX()) {
        labelX = overlay.nowMarker.x() - 10 - nowSize.width();
    }
    const double labelY = std::clamp(overlay.nowMarker.y() + 12, plot.minY() + 2,
                                     std::max(plot.maxY() - nowSize.height() - 2, plot.minY()));
    overlay.nowLabelRect = QRectF(QPointF(labelX, labelY), nowSize);
    overlay.pieces.push_back({overlay.nowLine.united(QRectF(overlay.nowMarker, QSizeF(0, 0))
                                                          .adjusted(-7, -7, 7, 7)),
                              {},
                              0});
    overlay.pieces.push_back({overlay.nowLabelRect.adjusted(-1, -1, 1, 1), overlay.nowLabel, 0});

    // A selected point that cannot move says why, at the top of the plot.
    if (selected_ && isCrowded(*selected_)) {
        overlay.notice = qtext(L10n::text(L10nKey::crowdedPoint, store_.language()));
        const QSizeF size = tagSize(metrics, overlay.notice);
        const double width = std::min(size.width(), plot.width);
        overlay.noticeRect = QRectF(plot.minX() + (plot.width - width) / 2.0, plot.minY() + 8,
                                    width, size.height());
    }
    overlay.pieces.push_back({overlay.noticeRect.adjusted(-1, -1, 1, 1), overlay.notice, 0});
    return overlay;
}

// MARK: painting

void CurveGraphView::renderBackdrop() {
    backdropKey_ = backdropKey();
    hasBackdrop_ = true;
    ++backdropRenders_;
    const qreal ratio = backdropKey_.pixelRatio;
    backdrop_ = QPixmap(size() * ratio);
    backdrop_.setDevicePixelRatio(ratio);

    const WindlarkProfile& profile = store_.profile();
    const AppLanguage language = store_.language();
    const CurveGraphGeometry geometry = geometryOf(*this, profile);
    const QRectF plot = toQt(geometry.plotArea());
    const QColor ink = palette().color(QPalette::Text);
    const QColor base = palette().color(QPalette::Base);
    const QColor accent = EditorStyle::accent();

    QPainter painter(&backdrop_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    painter.setPen(QPen(palette().color(QPalette::Midlight), 1));
    painter.setBrush(base);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);

    // Where the temperature has been, behind everything else.
    painter.setPen(Qt::NoPen);
    for (const GraphOverlayColumn& column :
         geometry.overlayColumns(store_.visibleThermalDistribution())) {
        painter.setBrush(withAlpha(accent, column.columnOpacity));
        painter.drawRect(toQt(column.column));
        painter.setBrush(withAlpha(accent, column.barOpacity));
        painter.drawRoundedRect(toQt(column.bar), 4, 4);
    }

    // Grid and ticks.
    painter.setFont(smallFont(*this));
    const QFontMetricsF metrics(painter.font());
    const QColor gridInk = withAlpha(ink, 0.09);
    const QColor labelInk = withAlpha(ink, 0.62);
    for (const GraphAxisTick& tick : geometry.temperatureTicks()) {
        painter.setPen(QPen(gridInk, 1));
        painter.drawLine(QPointF(tick.position, plot.top()), QPointF(tick.position, plot.bottom()));
        painter.setPen(labelInk);
        const QString label = qtext(Formatters::temperature(tick.value));
        const double width = metrics.horizontalAdvance(label);
        painter.drawText(QRectF(tick.position - width / 2 - 2, plot.bottom() + 6, width + 4,
                                metrics.height()),
                         Qt::AlignCenter, label);
    }
    for (const GraphAxisTick& tick : geometry.rpmTicks()) {
        painter.setPen(QPen(gridInk, 1));
        painter.drawLine(QPointF(plot.left(), tick.position), QPointF(plot.right(), tick.position));
        painter.setPen(labelInk);
        painter.drawText(QRectF(0, tick.position - metrics.height() / 2, plot.left() - 8,
                                metrics.height()),
                         Qt::AlignRight | Qt::AlignVCenter, qtext(Formatters::rpm(tick.value)));
    }
    painter.setPen(QPen(withAlpha(ink, 0.28), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(plot);

    // Axis titles.
    QFont titleFont = font();
    titleFont.setBold(true);
    painter.setFont(titleFont);
    painter.setPen(withAlpha(ink, 0.75));
    const QFontMetricsF titleMetrics(titleFont);
    painter.drawText(QRectF(plot.left(), height() - 8 - titleMetrics.height(), plot.width(),
                            titleMetrics.height()),
                     Qt::AlignCenter, qtext(L10n::text(L10nKey::temperature, language)));
    painter.save();
    painter.translate(8 + titleMetrics.ascent(), plot.center().y());
    painter.rotate(-90);
    painter.drawText(QRectF(-plot.height() / 2, -titleMetrics.ascent(), plot.height(),
                            titleMetrics.height()),
                     Qt::AlignCenter, qtext(L10n::text(L10nKey::fanSpeed, language)));
    painter.restore();
    painter.setFont(smallFont(*this));

    // Below the threshold the fan is left to the system.
    if (const auto band = geometry.fanOffBand(profile)) {
        const QRectF area = toQt(*band);
        painter.setPen(Qt::NoPen);
        painter.setBrush(withAlpha(ink, 0.08));
        painter.drawRect(area);
        QPen dashed(withAlpha(ink, 0.42), 1.5);
        dashed.setDashPattern({4.0 / 1.5, 5.0 / 1.5});
        painter.setPen(dashed);
        painter.drawLine(QPointF(area.right(), area.top()), QPointF(area.right(), area.bottom()));
        const QString label = qtext(L10n::text(L10nKey::fanOffRange, language));
        drawTag(painter, QRectF(QPointF(area.left() + 6, area.top() + 6), tagSize(metrics, label)),
                label, withAlpha(base, 0.92), withAlpha(ink, 0.25), withAlpha(ink, 0.8));
    }

    // At and above the safety limit the fan runs at full speed.
    const double limitX = geometry.x(profile.safetyLimitC);
    QPen limitPen(withAlpha(EditorStyle::danger(), 0.75), 1.5);
    limitPen.setDashPattern({4, 3});
    painter.setPen(limitPen);
    painter.drawLine(QPointF(limitX, plot.top()), QPointF(limitX, plot.bottom()));
    const QString limitLabel = qtext(L10n::text(L10nKey::limit, language)) + QStringLiteral(" ") +
                               qtext(Formatters::temperature(profile.safetyLimitC));
    const QSizeF limitSize = tagSize(metrics, limitLabel);
    const double limitLeft = std::clamp(limitX - limitSize.width() / 2, 2.0,
                                        std::max(width() - limitSize.width() - 2, 2.0));
    drawTag(painter, QRectF(QPointF(limitLeft, (plot.top() - limitSize.height()) / 2), limitSize),
            limitLabel, withAlpha(base, 0.95), withAlpha(EditorStyle::danger(), 0.6),
            EditorStyle::danger());
}

void CurveGraphView::paintOverlay(QPainter& painter) const {
    const QColor accent = EditorStyle::accent();
    const QColor base = palette().color(QPalette::Base);
    const QColor ink = palette().color(QPalette::Text);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(smallFont(*this));

    // The live reading, under the curve.
    QPen nowPen(withAlpha(ink, 0.35), 1);
    nowPen.setDashPattern({2, 3});
    painter.setPen(nowPen);
    painter.drawLine(QPointF(overlay_.nowMarker.x(), overlay_.nowLine.top()),
                     QPointF(overlay_.nowMarker.x(), overlay_.nowLine.bottom()));

    QPainterPath curve;
    if (!overlay_.curve.empty()) {
        curve.moveTo(overlay_.curve.front());
        for (std::size_t i = 1; i < overlay_.curve.size(); ++i) {
            curve.lineTo(overlay_.curve[i]);
        }
    }
    painter.setPen(QPen(accent, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(curve);

    painter.setPen(QPen(base, 2));
    painter.setBrush(QColor(0xe8, 0x6a, 0x1c));
    painter.drawEllipse(overlay_.nowMarker, 5.5, 5.5);
    drawTag(painter, overlay_.nowLabelRect, overlay_.nowLabel, withAlpha(base, 0.94),
            withAlpha(QColor(0xe8, 0x6a, 0x1c), 0.7), withAlpha(ink, 0.85));

    constexpr double radius = CurveGraphGeometry::pointDiameter / 2.0;
    for (const PointMark& mark : overlay_.points) {
        const bool isSelected = selected_ == mark.id;
        const QColor stroke = mark.isCrowded ? EditorStyle::caution() : accent;
        if (isSelected) {
            painter.setPen(QPen(withAlpha(stroke, hasFocus() ? 0.45 : 0.3), 3));
            painter.setBrush(Qt::NoBrush);
            painter.drawEllipse(mark.centre, radius + 5, radius + 5);
        }
        painter.setPen(QPen(stroke, CurveGraphGeometry::pointStrokeWidth));
        painter.setBrush(isSelected ? withAlpha(stroke, 0.25) : base);
        painter.drawEllipse(mark.centre, radius - CurveGraphGeometry::pointStrokeWidth / 2,
                            radius - CurveGraphGeometry::pointStrokeWidth / 2);
        drawTag(painter, mark.labelRect, mark.label, withAlpha(base, 0.92),
                withAlpha(stroke, isSelected ? 0.9 : 0.45), ink);
    }

    if (!overlay_.notice.isEmpty()) {
        const QColor caution = EditorStyle::caution();
        drawTag(painter, overlay_.noticeRect,
                QFontMetricsF(painter.font())
                    .elidedText(overlay_.notice, Qt::ElideRight, overlay_.noticeRect.width() - 14),
                withAlpha(QColor(0xfd, 0xf3, 0xe1), 0.97), caution, caution.darker(135));
    }
}

void CurveGraphView::paintEvent(QPaintEvent* event) {
    if (!hasBackdrop_ || backdropKey() != backdropKey_) {
        renderBackdrop();
        overlay_ = layoutOverlay();
    }
    QPainter painter(this);
    for (const QRect& area : event->region()) {
        painter.drawPixmap(area, backdrop_,
                           QRectF(QPointF(area.topLeft()) * backdropKey_.pixelRatio,
                                  QSizeF(area.size()) * backdropKey_.pixelRatio)
                               .toRect());
    }
    paintOverlay(painter);
}

void CurveGraphView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    overlay_ = layoutOverlay();
}

void CurveGraphView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        hasBackdrop_ = false;
        overlay_ = layoutOverlay();
        update();
    }
}

// MARK: pointer

std::optional<Uuid> CurveGraphView::labelAt(QPointF position) const {
    // Later labels are drawn over earlier ones, so they take the click.
    for (auto mark = overlay_.points.rbegin(); mark != overlay_.points.rend(); ++mark) {
        if (mark->labelRect.contains(position)) {
            return mark->id;
        }
    }
    return std::nullopt;
}

void CurveGraphView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPointF at = event->position();
    const CurveGraphGeometry geometry = geometryOf(*this, store_.profile());
    if (const auto hit = geometry.pointAt(store_.profile(), {at.x(), at.y()})) {
        selectPoint(*hit);
        // A point without room is selected (and says why) but never dragged.
        if (!isCrowded(*hit)) {
            dragging_ = *hit;
            hasDragStarted_ = false;
            pressPosition_ = at;
            setCursor(Qt::ClosedHandCursor);
        }
        return;
    }
    if (const auto label = labelAt(at)) {
        openPointEditor(*label);
        return;
    }
    selectPoint(std::nullopt);
}

void CurveGraphView::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = event->position();
    if (!dragging_) {
        const CurveGraphGeometry geometry = geometryOf(*this, store_.profile());
        if (geometry.pointAt(store_.profile(), {at.x(), at.y()})) {
            setCursor(Qt::OpenHandCursor);
        } else if (labelAt(at)) {
            setCursor(Qt::PointingHandCursor);
        } else {
            unsetCursor();
        }
        return;
    }
    if (!hasDragStarted_ &&
        (at - pressPosition_).manhattanLength() < QApplication::startDragDistance()) {
        return;
    }
    hasDragStarted_ = true;
    const GraphValue value = geometryOf(*this, store_.profile()).value({at.x(), at.y()});
    store_.updatePoint(*dragging_, value.temperatureC, value.rpm);
}

void CurveGraphView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && dragging_) {
        dragging_.reset();
        hasDragStarted_ = false;
        setCursor(Qt::OpenHandCursor);
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

// MARK: keyboard

void CurveGraphView::keyPressEvent(QKeyEvent* event) {
    int temperatureSteps = 0;
    int rpmSteps = 0;
    switch (event->key()) {
    case Qt::Key_Left:
        temperatureSteps = -1;
        break;
    case Qt::Key_Right:
        temperatureSteps = 1;
        break;
    case Qt::Key_Up:
        rpmSteps = 1;
        break;
    case Qt::Key_Down:
        rpmSteps = -1;
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (selected_) {
            openPointEditor(*selected_);
            return;
        }
        break;
    case Qt::Key_Escape:
        if (selected_) {
            selectPoint(std::nullopt);
            return;
        }
        break;
    default:
        break;
    }
    if (temperatureSteps == 0 && rpmSteps == 0) {
        QWidget::keyPressEvent(event);
        return;
    }
    if (!selected_) {
        const std::vector<WindlarkPoint> points = pointsInOrder();
        if (!points.empty()) {
            selectPoint(points.front().id);
        }
        return;
    }
    // A point without room keeps its place; the notice above the plot says why.
    if (const auto next =
            steppedPointValue(store_.profile(), *selected_, temperatureSteps, rpmSteps)) {
        store_.updatePoint(*selected_, next->temperatureC, next->rpm);
    }
}

void CurveGraphView::focusInEvent(QFocusEvent* event) {
    QWidget::focusInEvent(event);
    const std::vector<WindlarkPoint> points = pointsInOrder();
    if (!selected_ && !points.empty()) {
        if (event->reason() == Qt::TabFocusReason) {
            selectPoint(points.front().id);
        } else if (event->reason() == Qt::BacktabFocusReason) {
            selectPoint(points.back().id);
        }
    }
    relayout();
}

void CurveGraphView::focusOutEvent(QFocusEvent* event) {
    QWidget::focusOutEvent(event);
    relayout();
}

bool CurveGraphView::focusNextPrevChild(bool next) {
    // Tab walks through the points first, then on to the next control.
    const std::vector<WindlarkPoint> points = pointsInOrder();
    if (selected_ && hasFocus()) {
        const auto current = std::find_if(points.begin(), points.end(),
                                          [&](const WindlarkPoint& p) { return p.id == *selected_; });
        if (current != points.end()) {
            const auto index = current - points.begin();
            const auto target = index + (next ? 1 : -1);
            if (target >= 0 && target < static_cast<std::ptrdiff_t>(points.size())) {
                selectPoint(points[static_cast<std::size_t>(target)].id);
                return true;
            }
        }
    }
    selectPoint(std::nullopt);
    return QWidget::focusNextPrevChild(next);
}

} // namespace windlark
