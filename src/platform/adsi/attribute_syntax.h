#pragma once

#include "platform/engine/engine.h"
#include "platform/value.h"

#include <QByteArray>
#include <QList>

namespace rehome::adsi {

/// How the directory provider shapes an attribute's value: as bytes for octet strings, as a list
/// for multi-valued attributes, else as a text, or a list when it holds more than one value.
enum class Syntax { Text, Texts, Octets };

/// Of the attributes that the tool reads, as in the Active Directory schema (attributeSyntax,
/// isSingleValued); of any other, Text.
Syntax syntaxOf(const QString& attribute);

/// The value of an attribute; null where there are no values.
platform::Value valueOf(Syntax syntax, const QList<QByteArray>& values);
platform::Value valueOf(Syntax syntax, const engine::Entry::Values& values);

/// The other way round; null gives no values.
QList<QByteArray> valuesOf(const platform::Value& value);

} // namespace rehome::adsi
