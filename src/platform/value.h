#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <variant>

namespace rehome::platform {

/// An attribute's value: none (null), a text, a list of texts, or bytes.
using Value = std::variant<std::monostate, QString, QStringList, QByteArray>;

inline bool isNull(const Value& value) {
    return std::holds_alternative<std::monostate>(value);
}

/// A value together with where it was read, so that a failed conversion can name both.
struct Field {
    QString Name;   ///< the attribute's name as it was asked for
    QString Object; ///< the distinguished name of the object it belongs to
    platform::Value Value;
};

/// Throws Error where the value is null or not a single text; the description names the attribute,
/// the object and the remedy.
QString toText(const Field& field);

} // namespace rehome::platform
