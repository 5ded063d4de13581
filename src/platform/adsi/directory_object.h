#pragma once

#include "platform/engine/engine.h"
#include "platform/value.h"

#include <QList>
#include <QString>

#include <memory>

namespace rehome::adsi {

/// A bound directory object with its property cache. The binding fills the cache, and GetInfoEx()
/// and Get() add to it. Put() stages a change there; only SetInfo() writes, at the server that the
/// object was read from. Calls that read or write block, and may end the process.
class IADs {
public:
    /// Reads these attributes of the object, its classes and its GUID. `base`, `server`: as in
    /// SearchRequest. Throws Error if `base` names no object.
    IADs(std::shared_ptr<engine::Session> session, const QString& base,
         const QStringList& attributes, const QString& server = {});

    /// Returns an attribute's value. Throws Error if the object has none.
    platform::Value Get(const QString& name);
    /// Returns the same as text. Throws Error also if it is not a single text.
    QString GetText(const QString& name);
    /// Reads the listed attributes into the cache, unless they are there; `reserved` must be 0.
    /// Does not throw if the object lacks an attribute: the GetEx() that follows does.
    void GetInfoEx(const QStringList& names, int reserved);
    /// Returns the attribute's values, at least one. Throws Error if the object has none.
    QStringList GetEx(const QString& name);
    /// Stages a replacement of all the attribute's values; null clears the attribute.
    void Put(const QString& name, const platform::Value& value);
    /// Writes all staged changes in one modification. Throws as engine::Session::modify() does: if
    /// it throws OutcomeUnknown, they may have been written. They stay staged then.
    void SetInfo();

    const QString& distinguishedName() const { return m_cache.distinguishedName; }
    engine::Session& session() const { return *m_session; }
    bool isOfClass(const QString& objectClass) const;
    /// Returns a cached attribute's values, staged changes included; empty if there are none. Never
    /// reads the directory.
    QList<QByteArray> cached(const QString& name) const;
    /// Returns the first of them as text, null if there are none.
    QString cachedText(const QString& name) const;
    /// Stages a replacement of all the attribute's values.
    void stage(const QString& name, const QList<QByteArray>& values);

private:
    void load(const QStringList& names);
    QString shownName() const;

    std::shared_ptr<engine::Session> m_session;
    QString m_base;
    QString m_server;
    engine::Entry m_cache;
    QStringList m_loaded;
    QList<engine::Change> m_staged;
};

/// A bound object with its user interface.
class IADsUser final : public IADs {
public:
    /// Throws Error also if the object is not a user.
    IADsUser(std::shared_ptr<engine::Session> session, const QString& base,
             const QStringList& attributes, const QString& server);

    /// Returns the `mail` attribute. Throws Error if the user has none.
    QString EmailAddress();
    /// Stages `mail`.
    void setEmailAddress(const QString& address);
};

} // namespace rehome::adsi
