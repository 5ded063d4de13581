#pragma once

#include "platform/engine/engine.h"
#include "platform/value.h"

#include <QList>
#include <QString>

#include <memory>

namespace rehome::adsi {

/// A directory object bound by path with its property cache. What is read comes from the cache,
/// which the binding fills and GetInfoEx adds to; what is put is staged there and written by
/// SetInfo alone, to the server that the object was read from.
class IADs {
public:
    /// Reads these attributes of the object, its classes and its GUID, from that server if one is
    /// named. Throws Error where `base` names no object.
    IADs(std::shared_ptr<engine::Session> session, const QString& base,
         const QStringList& attributes, const QString& server = {});

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
    /// Throws Error also where the object is not a user.
    IADsUser(std::shared_ptr<engine::Session> session, const QString& base,
             const QStringList& attributes, const QString& server);

    /// The `mail` attribute. Throws Error where the user has none.
    QString EmailAddress();
    /// Stages `mail`.
    void setEmailAddress(const QString& address);
};

} // namespace rehome::adsi
