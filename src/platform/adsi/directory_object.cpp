#include "platform/adsi/directory_object.h"

#include "platform/adsi/attribute_syntax.h"
#include "platform/error.h"

#include <algorithm>
#include <utility>

namespace rehome::adsi {

namespace {

// Constructed by the directory, and to be asked for by name.
const QString Allowed = QStringLiteral("allowedAttributes");
const QString Writable = QStringLiteral("allowedAttributesEffective");

/// What a drop, a creation or a restored address changes of a user.
QStringList recordedAttributes() {
    return {QStringLiteral("homeMDB"),
            QStringLiteral("homeMTA"),
            QStringLiteral("msExchHomeServerName"),
            QStringLiteral("msExchMailboxGuid"),
            QStringLiteral("mDBUseDefaults"),
            QStringLiteral("mailNickname"),
            QStringLiteral("mail"),
            QStringLiteral("proxyAddresses")};
}

/// What a binding reads at once, so that the operations that follow need no further round trip:
/// the root object's naming contexts and what a mailbox is made of.
QStringList boundAttributes(Purpose purpose) {
    QStringList names{QStringLiteral("objectClass"), QStringLiteral("objectGUID"),
                      QStringLiteral("defaultNamingContext"),
                      QStringLiteral("configurationNamingContext"),
                      QStringLiteral("sAMAccountName"), QStringLiteral("msExchVersion")};
    names += recordedAttributes();
    if (purpose == Purpose::Read)
        names += QStringLiteral("msExchESEParamBaseName"); // of a storage group
    if (purpose == Purpose::Drop)
        names += {Allowed, Writable};
    return names;
}

bool names(const QList<QByteArray>& values, const QString& attribute) {
    return std::any_of(values.begin(), values.end(), [&](const QByteArray& value) {
        return attribute.compare(QLatin1String(value), Qt::CaseInsensitive) == 0;
    });
}

} // namespace

IADs::IADs(std::shared_ptr<engine::Session> session, platform::Journal& journal,
           const QString& base, Purpose purpose)
    : m_session(std::move(session)), m_journal(journal), m_base(base) {
    load(boundAttributes(purpose));
}

void IADs::load(const QStringList& names) {
    engine::SearchRequest request;
    request.base = m_base;
    request.attributes = names;
    const auto entries = m_session->search(request);
    auto entry = entries->next();
    if (!entry)
        throw Error(QStringLiteral("There is no object \"%1\" in the directory, or it may not be "
                                   "read.")
                        .arg(m_base));
    m_cache.distinguishedName = entry->distinguishedName;
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
    // An object that has a record can be given back already; a record of what has come since is
    // not worth a mailbox.
    try {
        keepRecord();
    } catch (const Error&) {
        if (!m_journal.Holds(guid()))
            throw;
    }
    m_session->modify(m_base, m_staged);
    for (const auto& [attribute, values, kind] : m_staged)
        m_cache.setValues(attribute, values);
    m_staged.clear();
    m_recorded = false;
    std::exchange(m_whenWritten, [] {})();
}

bool IADs::isKnown(const QString& name) {
    if (!m_loaded.contains(Allowed))
        load({Allowed});
    const auto known = m_cache.values(Allowed);
    return known.isEmpty() || names(known, name);
}

void IADs::requireWritable(const QStringList& wanted) {
    const auto writable = m_cache.values(Writable);
    // None at all is also how a directory that does not tell looks; but one that tells what objects
    // can have would tell this too.
    if (writable.isEmpty() && m_cache.values(Allowed).isEmpty())
        return;
    QStringList refused;
    for (const QString& name : wanted)
        if (isKnown(name) && !names(writable, name))
            refused += name;
    if (!refused.isEmpty())
        throw Error(QStringLiteral("You may not write %1 of %2. Run the tool with the ticket of "
                                   "somebody who may (kinit), or have the right delegated to you.")
                        .arg(refused.join(QStringLiteral(", ")), distinguishedName()));
}

void IADs::keepRecord() {
    if (m_recorded)
        return;
    platform::RecoveryRecord record{distinguishedName(), guid(), {}};
    for (const QString& name : recordedAttributes())
        if (const auto values = m_cache.values(name); !values.isEmpty() || isKnown(name))
            record.Attributes.append({name, values});
    m_journal.Keep(record);
    m_recorded = true;
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

IADsUser::IADsUser(std::shared_ptr<engine::Session> session, platform::Journal& journal,
                   const QString& base, Purpose purpose)
    : IADs(std::move(session), journal, base, purpose) {
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
