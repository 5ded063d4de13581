#pragma once

#include "platform/error.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace rehome::engine {

enum class Scope { Base, OneLevel, Subtree };

struct SearchRequest {
    /// A DN; or "<GUID=", 36 hexadecimal digits and hyphens, and ">"; or empty for the rootDSE
    /// (scope Base).
    QString base;
    Scope scope = Scope::Base;
    QString filter = QStringLiteral("(objectClass=*)"); ///< RFC 4515
    QStringList attributes;                             ///< case-insensitive; empty: all
    QString server{}; ///< where to search, as in Entry::server; empty: at the one in use
};

struct AttributeNameLess {
    bool operator()(const QString& a, const QString& b) const {
        return a.compare(b, Qt::CaseInsensitive) < 0;
    }
};

/// Returns true if both name the same attribute; case-insensitive.
inline bool isSameAttribute(const QString& a, const QString& b) {
    // Called for each attribute of a long list; the letter case is nearly always the same.
    return a.size() == b.size() &&
           (std::memcmp(a.constData(), b.constData(), size_t(a.size()) * sizeof(QChar)) == 0 ||
            a.compare(b, Qt::CaseInsensitive) == 0);
}

struct Attribute {
    QString name;
    QList<QByteArray> values;

    bool operator==(const Attribute&) const = default;
};

/// An object that a search has found. Attribute names are case-insensitive. Each attribute occurs
/// once, and has values.
class Entry {
    struct Octets {
        qsizetype at, size;
    };

public:
    /// A view of an attribute's values. Valid until the entry is changed or destroyed.
    class Values {
    public:
        qsizetype size() const { return m_count; }
        bool isEmpty() const { return m_count == 0; }
        /// `i`: 0 to size() - 1, unchecked.
        QByteArrayView operator[](qsizetype i) const {
            return {m_octets + m_values[i].at, m_values[i].size};
        }

    private:
        friend Entry;
        const char* m_octets = nullptr;
        const Octets* m_values = nullptr;
        qsizetype m_count = 0;
    };

    QString distinguishedName;
    QString server; ///< the domain controller that sent it; empty: it has no name

    /// Return the attribute's values; empty if the object lacks it.
    QList<QByteArray> values(const QString& name) const;
    Values view(const QString& name) const;
    /// Returns the first value, decoded as UTF-8 (invalid bytes are replaced); null if the object
    /// lacks the attribute.
    QString text(const QString& name) const;
    /// Replaces all values; an empty list removes the attribute.
    void setValues(const QString& name, const QList<QByteArray>& values);
    std::vector<Attribute> attributes() const;

    /// Appends an attribute that the entry lacks; add() must follow.
    void begin(const QString& name);
    /// Appends a value to the attribute of the last begin().
    void add(QByteArrayView value);
    /// Reserves memory for that many values with that many bytes in all.
    void reserve(qsizetype values, qsizetype octets);

private:
    struct Part {
        QString name;
        qsizetype first, count; ///< of m_values
    };
    const Part* find(const QString& name) const;
    Values view(const Part& part) const;

    // Three blocks of memory: a list for each attribute and an array for each value took a third of
    // the time of a long list.
    std::vector<Part> m_parts; ///< so few that a map would be slower
    std::vector<Octets> m_values;
    std::string m_octets;
};

/// The entries of one search. Destroying it unfinished abandons the search.
class Entries {
public:
    virtual ~Entries() = default;
    /// Returns the next entry, nullopt at the end. Blocks, and may end the process. Throws Error if
    /// the search cannot be read to its end.
    virtual std::optional<Entry> next() = 0;
};

/// One change of an attribute (RFC 4511 section 4.6).
struct Change {
    enum class Kind {
        Replace, ///< all its values; an empty list removes the attribute, if it exists
        Delete,  ///< these values, which must exist
        Add      ///< these values, which must not exist; a single-valued attribute must have none
    };
    QString attribute;
    QList<QByteArray> values;
    Kind kind = Kind::Replace;
};

/// Thrown by a modify that was refused because the object, or one that it refers to, is not as the
/// changes require. Nothing was changed.
class ChangedSince : public Error {
public:
    using Error::Error;
};

/// Thrown by a modify whose response was lost: the change may have been made, or may be made yet.
class OutcomeUnknown : public Error {
public:
    using Error::Error;
};

/// Thrown if the directory itself fails, or the domain controller that is named: it does not
/// respond, the connection is lost, it is busy, or it does not let us authenticate. Nothing was
/// changed.
class DirectoryFailed : public Error {
public:
    using Error::Error;
};

/// A session with a directory. Both calls block, and may end the process while they wait. The
/// descriptions of their errors name the object.
class Session {
public:
    virtual ~Session() = default;
    /// Starts a search; its entries must be read while the session exists. Throws Error if the base
    /// names no object or the filter is invalid; DirectoryFailed if the server that is named does
    /// not respond or, if none is named, no server does. The first next() may throw these instead.
    [[nodiscard]] virtual std::unique_ptr<Entries> search(const SearchRequest& request) = 0;
    /// Applies all changes, in order, or none. `name`: as SearchRequest::base; `server`: as
    /// SearchRequest::server. If it throws OutcomeUnknown, the change may have been made, or may
    /// be made yet. If it throws ChangedSince, DirectoryFailed or any other Error, nothing was
    /// changed.
    virtual void modify(const QString& name, const QList<Change>& changes,
                        const QString& server = {}) = 0;
};

/// A directory: the interface of the backends, and of the layers over them.
class Engine {
public:
    virtual ~Engine() = default;
    /// The engine must outlive its sessions. May block, and may end the process. Throws
    /// DirectoryFailed if no server responds, or another Error if none is known.
    [[nodiscard]] virtual std::unique_ptr<Session> openSession() = 0;
};

} // namespace rehome::engine
