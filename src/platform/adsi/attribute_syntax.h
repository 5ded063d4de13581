#pragma once

#include "platform/engine/engine.h"
#include "platform/value.h"

#include <QByteArray>
#include <QList>

namespace rehome::adsi {

/// The shape of an attribute's value: bytes for octet strings; a list for multi-valued attributes;
/// otherwise text, or a list if there is more than one value.
enum class Syntax { Text, Texts, Octets };

/// Returns the shape of an attribute (case-insensitive) by its engine::AttributeKind.
Syntax syntaxOf(const QString& attribute);

/// Return the value of an attribute; null if there are no values.
platform::Value valueOf(Syntax syntax, const QList<QByteArray>& values);
platform::Value valueOf(Syntax syntax, const engine::Entry::Values& values);

/// Returns the values of an attribute; empty for null.
QList<QByteArray> valuesOf(const platform::Value& value);

} // namespace rehome::adsi
