#include "platform/adsi/attribute_syntax.h"

#include "platform/engine/attribute_kind.h"

#include <QStringList>

namespace rehome::adsi {

namespace {

template <class Values>
platform::Value shaped(Syntax syntax, const Values& values) {
    if (values.isEmpty())
        return {};
    if (syntax == Syntax::Octets)
        return QByteArrayView(values[0]).toByteArray();
    if (syntax == Syntax::Text && values.size() == 1)
        return QString::fromUtf8(values[0]);
    QStringList texts;
    texts.reserve(values.size());
    for (qsizetype i = 0; i < values.size(); ++i)
        texts += QString::fromUtf8(values[i]);
    return texts;
}

} // namespace

Syntax syntaxOf(const QString& attribute) {
    const engine::AttributeKind& kind = engine::attributeKind(attribute.toLatin1());
    if (kind.syntax == engine::AttributeKind::Syntax::Octets)
        return Syntax::Octets;
    return kind.is(engine::AttributeKind::ManyValues) ? Syntax::Texts : Syntax::Text;
}

platform::Value valueOf(Syntax syntax, const QList<QByteArray>& values) {
    return shaped(syntax, values);
}

platform::Value valueOf(Syntax syntax, const engine::Entry::Values& values) {
    return shaped(syntax, values);
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
