#include "platform/adsi/attribute_syntax.h"

#include <QStringList>

#include <algorithm>

namespace rehome::adsi {

namespace {

bool isOneOf(const QString& attribute, std::initializer_list<const char*> names) {
    return std::any_of(names.begin(), names.end(), [&](const char* name) {
        return attribute.compare(QLatin1String(name), Qt::CaseInsensitive) == 0;
    });
}

} // namespace

Syntax syntaxOf(const QString& attribute) {
    if (isOneOf(attribute, {"objectGUID", "objectSid", "msExchMailboxGuid",
                            "msExchMailboxSecurityDescriptor"}))
        return Syntax::Octets;
    const bool list = isOneOf(attribute, {"proxyAddresses", "objectClass", "networkAddress"});
    return list ? Syntax::Texts : Syntax::Text;
}

platform::Value valueOf(Syntax syntax, const QList<QByteArray>& values) {
    if (values.isEmpty())
        return {};
    if (syntax == Syntax::Octets)
        return values.constFirst();
    if (syntax == Syntax::Text && values.size() == 1)
        return QString::fromUtf8(values.constFirst());
    QStringList texts;
    for (const QByteArray& value : values)
        texts += QString::fromUtf8(value);
    return texts;
}

QList<QByteArray> valuesOf(const platform::Value& value) {
    struct Shapes {
        QList<QByteArray> operator()(std::monostate) const { return {}; }
        QList<QByteArray> operator()(const QString& text) const { return {text.toUtf8()}; }
        QList<QByteArray> operator()(const QByteArray& bytes) const { return {bytes}; }
        QList<QByteArray> operator()(const QStringList& texts) const {
            QList<QByteArray> values;
            for (const QString& text : texts)
                values += text.toUtf8();
            return values;
        }
    };
    return std::visit(Shapes(), value);
}

} // namespace rehome::adsi
