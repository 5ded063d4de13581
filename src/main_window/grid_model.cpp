#include "main_window/grid_model.h"

#include "platform/shown_text.h"

#include <QBrush>
#include <QColor>

namespace rehome::main_window {

void GridModel::beginFill() {
    if (!m_filling)
        beginResetModel();
    m_filling = true;
}

void GridModel::endFill() {
    if (m_filling)
        endResetModel();
    m_filling = false;
}

template <class Change>
void GridModel::change(Change&& apply) {
    if (m_filling)
        return apply();
    beginFill();
    apply();
    endFill();
}

void GridModel::setRows(int rows) {
    change([&] {
        m_rows = rows;
        m_cells.resize(std::size_t(rows) * std::size_t(m_columns));
    });
}

void GridModel::setColumns(int columns) {
    if (columns == m_columns)
        return;
    change([&] {
        std::vector<QString> cells(std::size_t(m_rows) * std::size_t(columns));
        for (int row = 0; row < m_rows; ++row)
            for (int column = 0; column < std::min(columns, m_columns); ++column)
                cells[std::size_t(row) * std::size_t(columns) + std::size_t(column)] =
                    text(row, column);
        m_cells = std::move(cells);
        m_columns = columns;
    });
}

void GridModel::setText(int row, int column, const QString& text) {
    m_cells.at(position(row, column)) = text;
    if (m_filling)
        return;
    if (row == 0)
        Q_EMIT headerDataChanged(Qt::Horizontal, column, column);
    else
        Q_EMIT dataChanged(index(row - 1, column), index(row - 1, column));
}

int GridModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows() - 1;
}

int GridModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_columns;
}

QVariant GridModel::data(const QModelIndex& index, int role) const {
    if (index.row() + 1 >= rows() || index.column() >= m_columns)
        return {};
    if (role == Qt::DisplayRole)
        return platform::shownText(text(index.row() + 1, index.column()));
    if (role == Qt::BackgroundRole && index.column() == 0)
        return QBrush(QColor(224, 224, 224));
    return {};
}

QVariant GridModel::headerData(int section, Qt::Orientation orientation, int role) const {
    // A screen reader says whose row it is in.
    if (orientation == Qt::Vertical && role == Qt::AccessibleTextRole)
        return data(index(section, 1), Qt::DisplayRole);
    if (orientation != Qt::Horizontal || section >= m_columns)
        return {};
    if (role == Qt::DisplayRole)
        return text(0, section);
    if (role == Qt::TextAlignmentRole)
        return static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter);
    return {};
}

} // namespace rehome::main_window
