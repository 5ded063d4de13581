#include "platform/adsi/directory_object.h"

#include "platform/adsi/attribute_syntax.h"
#include "platform/error.h"

#include <algorithm>
#include <utility>

namespace rehome::adsi {

IADs::IADs(std::shared_ptr<engine::Session> session, const QString& base,
           const QStringList& attributes, const QString& server)
    : m_session(std::move(session)), m_base(base), m_server(server) {
    load(QStringList{QStringLiteral("objectClass"), QStringLiteral("objectGUID")} + attributes);
}

void IADs::load(const QStringList& names) {
    engine::SearchRequest request;
    request.base = m_base;
    request.attributes = names;
    request.server = m_server;
    const auto entries = m_session->search(request);
    auto entry = entries->next();
    if (!entry)
        throw Error(QStringLiteral("There is no object \"%1\" in the directory, or it may not be "
                                   "read.")
                        .arg(m_base));
    m_cache.distinguishedName = entry->distinguishedName;
    m_cache.server = m_server = entry->server;
    for (const QString& name : names)
        m_cache.setValues(name, entry->values(name));
    m_loaded += names;
}

platform::Value IADs::Get(const QString& name) {
    if (!m_loaded.contains(name, Qt::CaseInsensitive))
        load({name});
    const auto found = valueOf(syntaxOf(name), cached(name));
    if (platform::isNull(found))
        throw Error(QStringLiteral("The object \"%1\" has no attribute \"%2\", or it may not be "
                                   "read.")
                        .arg(shownName(), name));
    return found;
}

QString IADs::shownName() const {
    return m_base.isEmpty() ? QStringLiteral("RootDSE") : distinguishedName();
}

QString IADs::GetText(const QString& name) {
    return platform::toText({name, shownName(), Get(name)});
}

void IADs::GetInfoEx(const QStringList& names, int reserved) {
    if (reserved != 0)
        throw Error(QStringLiteral("GetInfoEx: the reserved argument must be 0."));
    // Who asks has just bound the object, and the binding has brought these.
    QStringList missing;
    for (const QString& name : names)
        if (!m_loaded.contains(name, Qt::CaseInsensitive))
            missing += name;
    if (!missing.isEmpty())
        load(missing);
}

QStringList IADs::GetEx(const QString& name) {
    Get(name);
    QStringList texts;
    for (const QByteArray& single : cached(name))
        texts += QString::fromUtf8(single);
    return texts;
}

void IADs::Put(const QString& name, const platform::Value& value) {
    stage(name, valuesOf(value));
}

void IADs::stage(const QString& name, const QList<QByteArray>& values) {
    const auto same = [&](const engine::Change& staged) {
        return staged.attribute.compare(name, Qt::CaseInsensitive) == 0;
    };
    m_staged.erase(std::remove_if(m_staged.begin(), m_staged.end(), same), m_staged.end());
    m_staged.append({name, values});
}

void IADs::SetInfo() {
    if (m_staged.isEmpty())
        return;
    m_session->modify(m_base, m_staged, m_cache.server);
    for (const auto& [attribute, values, kind] : m_staged)
        m_cache.setValues(attribute, values);
    m_staged.clear();
}

bool IADs::isOfClass(const QString& objectClass) const {
    const auto classes = cached(QStringLiteral("objectClass"));
    return std::any_of(classes.begin(), classes.end(), [&](const QByteArray& name) {
        return QString::fromUtf8(name).compare(objectClass, Qt::CaseInsensitive) == 0;
    });
}

QList<QByteArray> IADs::cached(const QString& name) const {
    for (const auto& [attribute, values, kind] : m_staged) {
        if (attribute.compare(name, Qt::CaseInsensitive) == 0)
            return values;
    }
    return m_cache.values(name);
}

QString IADs::cachedText(const QString& name) const {
    const auto values = cached(name);
    return values.isEmpty() ? QString() : QString::fromUtf8(values.constFirst());
}

IADsUser::IADsUser(std::shared_ptr<engine::Session> session, const QString& base,
                   const QStringList& attributes, const QString& server)
    : IADs(std::move(session), base, attributes, server) {
    if (!isOfClass(QStringLiteral("user")))
        throw Error(QStringLiteral("The object \"%1\" is not a user.").arg(distinguishedName()));
}

QString IADsUser::EmailAddress() {
    return GetText(QStringLiteral("mail"));
}

void IADsUser::setEmailAddress(const QString& address) {
    Put(QStringLiteral("mail"), address);
}

} // namespace rehome::adsi
