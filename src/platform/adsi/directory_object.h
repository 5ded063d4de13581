#pragma once

#include "platform/engine/engine.h"
#include "platform/journal.h"
#include "platform/value.h"

#include <QList>
#include <QString>

#include <functional>
#include <memory>

namespace rehome::adsi {

/// What an object is bound for, which decides what the binding reads. Only `Read` brings what other
/// objects than users have; only `Drop` what the signed-on user may write, which is most of what
/// such a binding costs the directory.
enum class Purpose { Read, Change, Drop };

/// A directory object bound by path with its property cache. What is read comes from the cache,
/// which the binding fills and GetInfoEx adds to; what is put is staged there and written by
/// SetInfo alone, and only to an object of which the journal holds a record.
class IADs {
public:
    /// Reads the object. Throws Error where `base` names none.
    IADs(std::shared_ptr<engine::Session> session, platform::Journal& journal, const QString& base,
         Purpose purpose);

    /// One attribute's value. Throws Error where the object has none.
    platform::Value Get(const QString& name);
    /// The same as text. Throws Error also where it is not a single one.
    QString GetText(const QString& name);
    /// Has the listed attributes in the cache; `reserved` must be 0. An attribute that the object
    /// lacks is no failure here, but of the GetEx that follows.
    void GetInfoEx(const QStringList& names, int reserved);
    /// The attribute's values as a list; never empty. Throws Error where the object has none.
    QStringList GetEx(const QString& name);
    /// Stages a replacement of all the attribute's values; null clears the attribute.
    void Put(const QString& name, const platform::Value& value);
    /// Writes everything staged back in one modification. Nothing is written before it.
    void SetInfo();

    const QString& distinguishedName() const { return m_cache.distinguishedName; }
    engine::Session& session() const { return *m_session; }
    bool isOfClass(const QString& objectClass) const;
    /// A cached attribute's values, staged changes included; empty where the object lacks it.
    /// Never asks the directory.
    QList<QByteArray> cached(const QString& name) const;
    /// The first of them as text, null where there is none.
    QString cachedText(const QString& name) const;
    /// Stages a replacement of all the attribute's values.
    void stage(const QString& name, const QList<QByteArray>& values);
    /// Runs after the next successful SetInfo.
    void whenWritten(std::function<void()> action) { m_whenWritten = std::move(action); }
    /// Throws Error, naming them, where the directory tells that the signed-on user may not write
    /// some of these attributes (`allowedAttributesEffective`). Those that no object of this kind
    /// can have (`allowedAttributes`) do not count. Only a binding for a drop tells.
    void requireWritable(const QStringList& names);
    /// Has the journal keep what the object was when it was bound. Throws Error where it cannot.
    void keepRecord();
    /// Has SetInfo make do with an earlier record of the object.
    void acceptEarlierRecord() { m_recorded = m_recorded || m_journal.Holds(guid()); }

private:
    void load(const QStringList& names);
    QByteArray guid() const { return m_cache.values(QStringLiteral("objectGUID")).value(0); }
    /// Whether objects of this kind have the attribute, as far as the directory tells.
    bool isKnown(const QString& name);
    QString shownName() const;

    std::shared_ptr<engine::Session> m_session;
    platform::Journal& m_journal;
    QString m_base;
    engine::Entry m_cache;
    QStringList m_loaded;
    QList<engine::Change> m_staged;
    std::function<void()> m_whenWritten = [] {};
    bool m_recorded = false;
};

/// A bound object with its user interface.
class IADsUser final : public IADs {
public:
    /// Throws Error also where the object is not a user.
    IADsUser(std::shared_ptr<engine::Session> session, platform::Journal& journal,
             const QString& base, Purpose purpose);

    /// The `mail` attribute. Throws Error where the user has none.
    QString EmailAddress();
    /// Stages `mail`.
    void setEmailAddress(const QString& address);
};

} // namespace rehome::adsi
