#include "platform/ldap/schema.h"

#include "platform/engine/escape.h"
#include "platform/ldap/search_stream.h"

#include <algorithm>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

QList<engine::Change> Schema::writable(const std::shared_ptr<ServerConnection>& connection,
                                       const QList<engine::Change>& replacements) {
    QStringList unasked;
    for (const auto& replacement : replacements)
        if (m_known.count(replacement.attribute) == 0)
            unasked += replacement.attribute;
    if (!unasked.isEmpty())
        ask(connection, unasked);
    QList<engine::Change> writable;
    std::copy_if(replacements.begin(), replacements.end(), std::back_inserter(writable),
                 [&](const auto& replacement) { return m_known.at(replacement.attribute); });
    return writable;
}

void Schema::ask(const std::shared_ptr<ServerConnection>& connection, const QStringList& names) {
    engine::SearchRequest request;
    request.attributes = QStringList{u"schemaNamingContext"_s};
    const auto root = SearchStream(connection, request, 0).next();
    request.base = root ? root->text(request.attributes.constFirst()) : QString();

    bool readable = false;
    if (!request.base.isEmpty()) {
        request.scope = engine::Scope::OneLevel;
        request.attributes = QStringList{u"lDAPDisplayName"_s};
        // Every schema has cn: whoever does not find it may not read the schema.
        request.filter = u"(&(objectClass=attributeSchema)(|(lDAPDisplayName=cn)"_s;
        for (const QString& name : names)
            request.filter += u"(lDAPDisplayName=%1)"_s.arg(engine::filterValue(name));
        request.filter += u"))"_s;
        SearchStream found(connection, request, 0);
        while (const auto attribute = found.next()) {
            m_known[attribute->text(request.attributes.constFirst())] = true;
            readable = true;
        }
    }
    for (const QString& name : names)
        m_known.try_emplace(name, !readable);
}

} // namespace rehome::ldap
