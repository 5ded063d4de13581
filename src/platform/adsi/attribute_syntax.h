#pragma once

#include "platform/value.h"

#include <QByteArray>
#include <QList>

namespace rehome::adsi {

/// The value of an attribute as the directory provider shapes it: bytes for octet strings, a list
/// for multi-valued attributes, else a text; null where there are no values. The shapes of the
/// attributes that the tool reads come from the Active Directory schema (attributeSyntax,
/// isSingleValued); any other attribute is a text, or a list when it holds more than one value.
platform::Value valueOf(const QString& attribute, const QList<QByteArray>& values);

/// The other way round; null gives no values.
QList<QByteArray> valuesOf(const platform::Value& value);

} // namespace rehome::adsi
