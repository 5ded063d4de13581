#include "main_window/flex_grid.h"

#include "main_window/look.h"
#include "platform/error.h"
#include "platform/twips.h"

#include <QAccessible>
#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <numeric>
#include <utility>

namespace rehome::main_window {

using platform::toPixels;
using platform::toTwips;

FlexGrid::FlexGrid(QWidget* parent) : QTableView(parent) {
    setModel(&m_model);
    setFrameStyle(QFrame::Box | QFrame::Plain);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(NoSelection);
    setSelectionBehavior(SelectRows);
    setVerticalScrollMode(ScrollPerItem);
    setHorizontalScrollMode(ScrollPerPixel);
    setAutoScroll(false);
    setTabKeyNavigation(false);
    setWordWrap(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    horizontalHeader()->setMinimumSectionSize(1);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->viewport()->installEventFilter(this);
    watchUserScrolling(verticalScrollBar());
    watchUserScrolling(horizontalScrollBar());
}

void FlexGrid::watchUserScrolling(QScrollBar* bar) {
    // actionTriggered comes from the wheel and the bar alone, before the value follows.
    connect(bar, &QScrollBar::actionTriggered, this,
            [this, bar] { m_userScrolls = bar->sliderPosition() != bar->value(); });
    connect(bar, &QScrollBar::valueChanged, this, [this] {
        if (std::exchange(m_userScrolls, false))
            Q_EMIT Scroll();
    });
}

void FlexGrid::setRedraw(bool redraw) {
    m_redraw = redraw;
    if (redraw)
        publish();
    else
        m_model.beginFill();
}

void FlexGrid::setScrollBars(Bars bars) {
    m_bars = bars;
    const auto policy = bars == Bars::None ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAsNeeded;
    setVerticalScrollBarPolicy(policy);
    setHorizontalScrollBarPolicy(policy);
}

void FlexGrid::publish() {
    if (!m_model.filling())
        return;
    m_model.endFill();
    applyColumnWidths();
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    updateGeometries();
    showCurrentCell();
    tellCurrentCell();
}

void FlexGrid::setCols(int columns) {
    m_model.setColumns(columns);
    m_columnWidths.resize(static_cast<std::size_t>(columns));
    m_column = std::min(m_column, columns - 1);
}

void FlexGrid::setRows(int rows) {
    if (rows < 1)
        throw Error(QStringLiteral("A grid cannot have %1 rows.").arg(rows));
    m_model.setRows(rows);
    m_row = std::min(m_row, rows - 1);
    if (rows == 1)
        verticalScrollBar()->setValue(0);
}

void FlexGrid::setRowHeightMin(int twips) {
    m_rowHeightMin = twips;
    layOutRows();
}

void FlexGrid::setColWidth(int column, int twips) {
    m_columnWidths.at(static_cast<std::size_t>(column)) = twips;
    applyColumnWidths();
}

void FlexGrid::applyColumnWidths() {
    // The header knows its columns only after the fill.
    if (m_model.filling())
        return;
    // Each boundary is rounded by itself, so that no error adds up from left to right.
    int left = 0;
    for (int i = 0; i < m_model.columns(); ++i) {
        const int right = left + m_columnWidths[static_cast<std::size_t>(i)];
        horizontalHeader()->resizeSection(i, toPixels(right) - toPixels(left));
        left = right;
    }
}

void FlexGrid::layOutRows() {
    const int bar = horizontalScrollBar()->isVisible() ? horizontalScrollBar()->height() : 0;
    const int height = this->height() - 2 * frameWidth() - bar;
    const int least =
        std::max(1, (m_rowHeightMin + platform::TwipsPerPixel - 1) / platform::TwipsPerPixel);
    const int count = std::max(1, height / least);
    const int each = std::max(least, height / count);
    verticalHeader()->setMinimumSectionSize(each);
    verticalHeader()->setDefaultSectionSize(each);
    horizontalHeader()->setFixedHeight(std::max(each, height - each * (count - 1)));
}

int FlexGrid::rowHeight() const {
    return verticalHeader()->defaultSectionSize();
}

int FlexGrid::headingHeight() const {
    return horizontalHeader()->height();
}

int FlexGrid::rowsInView() const {
    const int bar = horizontalScrollBar()->isVisible() ? horizontalScrollBar()->height() : 0;
    return std::max(1, (height() - 2 * frameWidth() - bar - headingHeight()) / rowHeight());
}

void FlexGrid::setRow(int row) {
    if (row < 0 || row >= Rows())
        throw Error(QStringLiteral("The grid has no row %1.").arg(row));
    m_row = row;
    showCurrentCell();
}

void FlexGrid::setCol(int column) {
    if (column < 0 || column >= m_model.columns())
        throw Error(QStringLiteral("The grid has no column %1.").arg(column));
    m_column = column;
    showCurrentCell();
}

void FlexGrid::showCurrentCell() {
    if (m_model.filling())
        return;
    const auto cell = m_row > 0 ? m_model.index(m_row - 1, m_column) : QModelIndex();
    selectionModel()->setCurrentIndex(cell, QItemSelectionModel::ClearAndSelect |
                                                QItemSelectionModel::Rows);
    viewport()->update();
}

void FlexGrid::bringCurrentCellIntoView() {
    if (m_row > 0)
        scrollTo(m_model.index(m_row - 1, m_column));
}

int FlexGrid::TopRow() const {
    return Rows() > 1 ? verticalScrollBar()->value() + 1 : 0;
}

int FlexGrid::Left() const {
    return toTwips(x());
}

int FlexGrid::Top() const {
    return toTwips(y());
}

int FlexGrid::CellLeft() const {
    const int columns =
        std::accumulate(m_columnWidths.begin(), m_columnWidths.begin() + m_column, 0);
    return toTwips(frameWidth() - horizontalScrollBar()->value()) + columns;
}

int FlexGrid::CellTop() const {
    const int rows = m_row == 0 ? 0 : headingHeight() + (m_row - TopRow()) * rowHeight();
    return toTwips(frameWidth() + rows);
}

int FlexGrid::CellWidth() const {
    return m_columnWidths.empty() ? 0 : m_columnWidths.at(static_cast<std::size_t>(m_column));
}

bool FlexGrid::viewportEvent(QEvent* event) {
    const bool handled = QTableView::viewportEvent(event);
    if (event->type() == QEvent::Paint && !std::exchange(m_paintReported, true)) {
        // Nothing may be moved while painting is under way.
        QMetaObject::invokeMethod(
            this,
            [this] {
                m_paintReported = false;
                Q_EMIT Painted();
            },
            Qt::QueuedConnection);
    }
    return handled;
}

void FlexGrid::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (!hasFocus() || m_row == 0 || m_model.filling())
        return;
    // What stands over the current cell hides its own mark.
    const int columns = horizontalHeader()->length() - horizontalHeader()->offset();
    QPainter painter(viewport());
    painter.setPen(focusPen());
    painter.drawRect(
        QRect(0, rowViewportPosition(m_row - 1), columns, rowHeight()).adjusted(1, 1, -2, -2));
}

void FlexGrid::resizeEvent(QResizeEvent* event) {
    QTableView::resizeEvent(event);
    layOutRows();
    Q_EMIT Sized();
}

void FlexGrid::mousePressEvent(QMouseEvent* event) {
    const QModelIndex cell = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && cell.isValid()) {
        m_row = cell.row() + 1;
        m_column = std::max(1, cell.column());
        showCurrentCell();
    }
    Q_EMIT MouseDown();
}

void FlexGrid::mouseDoubleClickEvent(QMouseEvent* event) {
    mousePressEvent(event);
}

void FlexGrid::mouseMoveEvent(QMouseEvent*) {
}

void FlexGrid::mouseReleaseEvent(QMouseEvent* event) {
    released(*event, *viewport());
}

void FlexGrid::released(const QMouseEvent& event, const QWidget& area) {
    Q_EMIT MouseUp();
    const QPoint position = area.mapTo(this, event.position().toPoint());
    if (event.button() != Qt::LeftButton)
        return;
    if (rect().contains(position))
        Q_EMIT Click();
    else
        Q_EMIT ReleasedOutside();
}

bool FlexGrid::eventFilter(QObject* watched, QEvent* event) {
    if (watched == horizontalHeader()->viewport() && heading(event))
        return true;
    return QTableView::eventFilter(watched, event);
}

bool FlexGrid::heading(QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
        Q_EMIT MouseDown();
        return true;
    case QEvent::MouseButtonRelease:
        released(*static_cast<QMouseEvent*>(event), *horizontalHeader()->viewport());
        return true;
    case QEvent::MouseMove:
        return true;
    default:
        return false;
    }
}

void FlexGrid::wheelEvent(QWheelEvent* event) {
    QTableView::wheelEvent(event);
    event->accept(); // at the end of the list, too: nothing around the grid is to scroll
}

void FlexGrid::keyPressEvent(QKeyEvent* event) {
    const int last = Rows() - 1;
    int row = m_row;
    int column = m_column;
    const bool control = event->modifiers().testFlag(Qt::ControlModifier);
    switch (event->key()) {
    case Qt::Key_Up:
        row = control ? 1 : row - 1;
        break;
    case Qt::Key_Down:
        row = control ? last : row + 1;
        break;
    case Qt::Key_PageUp:
        row -= rowsInView();
        break;
    case Qt::Key_PageDown:
        row += rowsInView();
        break;
    case Qt::Key_Home:
        row = control ? 1 : row;
        column = control ? column : 1;
        break;
    case Qt::Key_End:
        row = control ? last : row;
        column = control ? column : m_model.columns() - 1;
        break;
    case Qt::Key_Left:
        --column;
        break;
    case Qt::Key_Right:
        ++column;
        break;
    default:
        if (control || event->modifiers().testFlag(Qt::AltModifier) || event->text().isEmpty() ||
            !event->text().at(0).isPrint())
            event->ignore();
        else
            jumpTo(event->text());
        return;
    }
    goTo(row, column);
}

void FlexGrid::goTo(int row, int column) {
    const int last = Rows() - 1;
    if (last < 1)
        return;
    row = std::clamp(row, 1, last);
    column = std::clamp(column, 1, m_model.columns() - 1);
    if (row == m_row && column == m_column)
        return;
    m_row = row;
    m_column = column;
    showCurrentCell();
    bringCurrentCellIntoView();
    Q_EMIT Click();
}

void FlexGrid::jumpTo(const QString& typed) {
    const bool goesOn =
        m_sinceTyped.isValid() && !m_sinceTyped.hasExpired(QApplication::keyboardInputInterval());
    m_sinceTyped.start();
    const QString before = goesOn ? m_typed : QString();
    const bool again = before == typed; // one letter again and again: the next one each time
    m_typed = again ? typed : before + typed;
    const int last = Rows() - 1, first = before.isEmpty() || again ? m_row + 1 : m_row;
    for (int i = 0; i < last; ++i) {
        const int row = (std::max(first, 1) - 1 + i) % last + 1;
        if (m_model.text(row, 1).startsWith(m_typed, Qt::CaseInsensitive))
            return goTo(row, m_column);
    }
}

/// To a screen reader, if it is in the grid.
void FlexGrid::tellCurrentCell() {
    if (m_row == 0 || m_model.filling() || !hasFocus())
        return;
    // The children of a table are numbered with its headers, which are row and column 0.
    QAccessibleEvent told(this, QAccessible::Focus);
    told.setChild(m_row * (m_model.columns() + 1) + m_column + 1);
    QAccessible::updateAccessibility(&told);
}

void FlexGrid::focusInEvent(QFocusEvent* event) {
    // QAbstractItemView would make a cell of its own choice current.
    QAbstractScrollArea::focusInEvent(event); // NOLINT(bugprone-parent-virtual-call)
    // Qt tells of the grid itself as soon as this returns.
    QMetaObject::invokeMethod(this, &FlexGrid::tellCurrentCell, Qt::QueuedConnection);
    viewport()->update();
}

} // namespace rehome::main_window
