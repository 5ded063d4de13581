#pragma once

#include <QAbstractTableModel>
#include <QString>

#include <vector>

namespace rehome::main_window {

/// The cells of the grid: row 0 is the heading, shown as the header; column 0 never holds text.
/// Views and screen readers get a cell as people are to see it; text() is what was set.
/// Between beginFill and endFill the cells may be changed at will, at the cost of one reset.
class GridModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    using QAbstractTableModel::QAbstractTableModel;

    void beginFill();
    void endFill();
    bool filling() const { return m_filling; }

    /// Both throw away what no longer fits. Heading row included.
    void setRows(int rows);
    void setColumns(int columns);
    int rows() const { return m_rows; }
    int columns() const { return m_columns; }

    const QString& text(int row, int column) const { return m_cells.at(position(row, column)); }
    void setText(int row, int column, const QString& text);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    template <class Change>
    void change(Change&& apply);

    std::size_t position(int row, int column) const {
        return std::size_t(row) * std::size_t(m_columns) + std::size_t(column);
    }

    std::vector<QString> m_cells; ///< row by row
    int m_rows = 1;
    int m_columns = 0;
    bool m_filling = false;
};

} // namespace rehome::main_window
