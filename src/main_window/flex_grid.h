#pragma once

#include "main_window/grid_model.h"

#include <QElapsedTimer>
#include <QTableView>

namespace rehome::main_window {

/// A grid with one fixed heading row (0), one fixed column (0), a current cell, and cell metrics in
/// twips. Typing makes the next row current whose first text begins so. Rows are all of one height:
/// the least that is not below RowHeightMin and leaves no part of a row at the lower edge.
class FlexGrid final : public QTableView {
    Q_OBJECT

public:
    enum class Bars { None = 0, Both = 3 };

    explicit FlexGrid(QWidget* parent);

    /// While off, cells change without the view following.
    void setRedraw(bool redraw);
    bool Redraw() const { return m_redraw; }
    void setScrollBars(Bars bars);
    Bars ScrollBars() const { return m_bars; }
    /// Makes what was filled so far visible and scrollable, whatever the two settings say.
    void publish();

    /// Row and column counts, the heading row and the fixed column included. Rows is at least 1.
    void setCols(int columns);
    void setRows(int rows);
    int Rows() const { return m_model.rows(); }
    /// Twips.
    void setRowHeightMin(int twips);
    void setColWidth(int column, int twips);

    /// The current cell. Setting it neither scrolls nor raises an event. Throws Error outside the
    /// grid.
    void setRow(int row);
    void setCol(int column);
    int Row() const { return m_row; }
    int Col() const { return m_column; }
    QString Text() const { return m_model.text(m_row, m_column); }
    void setText(const QString& text) { m_model.setText(m_row, m_column, text); }
    void bringCurrentCellIntoView();

    /// The uppermost row in view below the heading; 0 where there is none.
    int TopRow() const;
    /// The grid in its window, and the current cell in the grid; twips.
    int Left() const;
    int Top() const;
    int CellLeft() const;
    int CellTop() const;
    int CellWidth() const;

Q_SIGNALS:
    /// The left button went down and up, or the current cell was moved with the keyboard.
    void Click();
    /// Raised after the current cell has changed.
    void MouseDown();
    void MouseUp();
    /// The left button went down in the grid and up outside it; MouseUp has been raised.
    void ReleasedOutside();
    /// The user, and nobody else, has scrolled the grid.
    void Scroll();
    /// The grid has been painted; raised when it is safe to move what stands over it.
    void Painted();
    void Sized();

protected:
    bool viewportEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void watchUserScrolling(QScrollBar* bar);
    void applyColumnWidths();
    void layOutRows();
    void showCurrentCell();
    void goTo(int row, int column);
    void jumpTo(const QString& typed);
    void tellCurrentCell();
    int rowHeight() const;
    int headingHeight() const;
    int rowsInView() const;
    bool heading(QEvent* event);
    void released(const QMouseEvent& event, const QWidget& area);

    GridModel m_model;
    std::vector<int> m_columnWidths;
    int m_rowHeightMin = 0;
    int m_row = 0;
    int m_column = 0;
    Bars m_bars = Bars::Both;
    bool m_redraw = true;
    bool m_userScrolls = false;
    bool m_paintReported = false;
    QString m_typed; ///< the beginning of a display name
    QElapsedTimer m_sinceTyped;
};

} // namespace rehome::main_window
