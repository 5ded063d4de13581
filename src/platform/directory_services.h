#pragma once

#include "platform/value.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace rehome::platform {

/// The options value that leaves a call's options unspecified.
inline constexpr int UnspecifiedOptions = -1;

/// A directory object bound by path, with its property cache. Every operation throws Error on a
/// failure (no directory, no permission, a missing attribute).
class IADs {
public:
    virtual ~IADs() = default;

    /// One attribute's value. Throws Error where the object has none.
    virtual Value Get(const QString& name) = 0;
    /// Loads the listed attributes into the cache; `reserved` must be 0. An attribute that the
    /// object lacks is no failure here, but of the GetEx that follows.
    virtual void GetInfoEx(const QStringList& names, int reserved) = 0;
    /// The attribute's values as a list; never empty. Throws Error where the object has none.
    virtual QStringList GetEx(const QString& name) = 0;
    /// Stages a replacement of all the attribute's values; null clears the attribute.
    virtual void Put(const QString& name, const Value& value) = 0;
    /// Writes everything staged back in one modification. Nothing is written before it.
    virtual void SetInfo() = 0;
};

/// The user interface of a directory object.
class IADsUser : public virtual IADs {
public:
    /// The `mail` attribute. Throws Error where the user has none.
    virtual QString EmailAddress() = 0;
    /// Stages `mail`.
    virtual void setEmailAddress(const QString& address) = 0;
};

/// The result of a search: positioned on its first record when it has one, read forwards only.
/// Letting it go before its end abandons the search.
class RecordSet {
public:
    virtual ~RecordSet() = default;

    /// True when the set holds no record.
    virtual bool Bof() const = 0;
    /// True when the last record has been passed, or there is none.
    virtual bool Eof() const = 0;
    /// Throws Error where the set holds no record, or its first has been passed.
    virtual void MoveFirst() = 0;
    /// Throws Error at the end, or where the search breaks off.
    virtual void MoveNext() = 0;
    /// Ends the search; nothing can be read afterwards.
    virtual void Close() = 0;
    /// The current record's value of a column named in any letter case. Throws Error for a column
    /// that was not asked for, and where there is no current record.
    virtual Field Fields(const QString& name) const = 0;
};

/// A directory connection.
class Connection {
public:
    virtual ~Connection() = default;

    virtual void setProvider(const QString& provider) = 0;
    /// Throws Error where the provider is unknown, credentials are given, or no session can be
    /// made.
    virtual void Open(const QString& connectionText, const QString& userName,
                      const QString& password, int options) = 0;
    /// Runs one search given as "<LDAP://base>;filter;attributes;scope" and waits for its first
    /// record. Throws Error where the connection is not open, the text cannot be taken apart, or
    /// the search is refused.
    virtual std::unique_ptr<RecordSet> Execute(const QString& commandText, int options) = 0;
    virtual void Close() = 0;
};

/// What an object is bound for. A drop is also told what the signed-on user may write, which is
/// most of what such a binding costs the directory.
enum class Purpose { Read, Change, Drop };

/// Active Directory. Paths: "LDAP://RootDSE", "LDAP://" and a distinguished name,
/// "LDAP://<GUID=" and 36 hexadecimal digits and hyphens and ">".
class DirectoryServices {
public:
    virtual ~DirectoryServices() = default;

    /// Binds afresh; nothing is cached between bindings. Throws Error where the path names nothing.
    virtual std::unique_ptr<IADs> BindObject(const QString& path) = 0;
    /// The same, and takes the user interface; throws Error where the object is not a user. For a
    /// change, what the signed-on user may write is read as well.
    virtual std::unique_ptr<IADsUser> BindUser(const QString& path,
                                               Purpose purpose = Purpose::Read) = 0;
    virtual std::unique_ptr<Connection> CreateConnection() = 0;
};

} // namespace rehome::platform
