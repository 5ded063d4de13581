#pragma once

#include "listing/mailbox_reader.h"

#include <array>

namespace rehome::main_window {

/// The grid's columns, from left to right.
enum Column { FixedColumn, DisplayNameColumn, StoreColumn, StateColumn, ColumnCount };

struct ColumnLook {
    int Width; ///< twips
    QString Heading;
    std::optional<QString> listing::Row::*Text; ///< what of a row it shows
};

inline const std::array<ColumnLook, ColumnCount> Columns{{
    {300, QString(), nullptr},
    {2750, QStringLiteral("Mailbox Display Name"), &listing::Row::DisplayName},
    {5000, QStringLiteral("Target Mail Store"), &listing::Row::Store},
    {1300, QStringLiteral("Store Status"), &listing::Row::State},
}};

} // namespace rehome::main_window
