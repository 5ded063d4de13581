#include "platform/adsi/command_text.h"

#include "platform/error.h"

namespace rehome::adsi {

namespace {

const QString Prefix = QStringLiteral("LDAP://");

engine::Scope scopeOf(const QString& name, const QString& text) {
    if (name == QLatin1String("base"))
        return engine::Scope::Base;
    if (name == QLatin1String("onelevel"))
        return engine::Scope::OneLevel;
    if (name == QLatin1String("subtree"))
        return engine::Scope::Subtree;
    throw Error(QStringLiteral("The search \"%1\" has the unknown scope \"%2\".").arg(text, name));
}

} // namespace

QString baseOfPath(const QString& path) {
    if (!path.startsWith(Prefix) || path.size() == Prefix.size())
        throw Error(QStringLiteral("\"%1\" is not a directory path: it must be \"LDAP://\" and the "
                                   "name of an object.")
                        .arg(path));
    const QString base = path.mid(Prefix.size());
    return base == QLatin1String("RootDSE") ? QString() : base;
}

engine::SearchRequest parseCommandText(const QString& text) {
    // The base is the one part that may itself hold semicolons (in a distinguished name's values),
    // so the last two parts are taken from the end.
    const auto scopeAt = text.lastIndexOf(u';');
    const auto attributesAt = scopeAt > 0 ? text.lastIndexOf(u';', scopeAt - 1) : -1;
    const auto filterAt = text.indexOf(QLatin1String(">;("));
    if (!text.startsWith(u'<') || filterAt < 0 || attributesAt < filterAt + 2)
        throw Error(QStringLiteral("The search \"%1\" is not of the form "
                                   "<LDAP://base>;filter;attributes;scope.")
                        .arg(text));
    engine::SearchRequest request;
    request.base = baseOfPath(text.mid(1, filterAt - 1));
    request.filter = text.mid(filterAt + 2, attributesAt - filterAt - 2);
    request.attributes = text.mid(attributesAt + 1, scopeAt - attributesAt - 1).split(u',');
    request.scope = scopeOf(text.mid(scopeAt + 1), text);
    if (request.attributes.contains(QString()))
        throw Error(QStringLiteral("The search \"%1\" names an empty attribute.").arg(text));
    return request;
}

} // namespace rehome::adsi
