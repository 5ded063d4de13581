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
    /// A distinguished name, "<GUID=" and 36 hexadecimal digits and hyphens and ">", or empty for
    /// the root object (scope Base).
    QString base;
    Scope scope = Scope::Base;
    QString filter = QStringLiteral("(objectClass=*)"); ///< RFC 4515
    QStringList attributes;                             ///< in any letter case
    QString server{}; ///< the one to ask, as Entry::server names it; empty: whichever is in use
};

struct AttributeNameLess {
    bool operator()(const QString& a, const QString& b) const {
        return a.compare(b, Qt::CaseInsensitive) < 0;
    }
};

/// Whether they name one attribute, whatever their letter case.
inline bool isSameAttribute(const QString& a, const QString& b) {
    // Asked of each attribute of a long list, and nearly always in the schema's letter case.
    return a.size() == b.size() &&
           (std::memcmp(a.constData(), b.constData(), size_t(a.size()) * sizeof(QChar)) == 0 ||
            a.compare(b, Qt::CaseInsensitive) == 0);
}

struct Attribute {
    QString name;
    QList<QByteArray> values;

    bool operator==(const Attribute&) const = default;
};

/// One object found. Attribute names compare without letter case. None is there twice, and none
/// without values.
class Entry {
    struct Octets {
        qsizetype at, size;
    };

public:
    /// An attribute's values where they lie: until the entry is changed or gone.
    class Values {
    public:
        qsizetype size() const { return m_count; }
        bool isEmpty() const { return m_count == 0; }
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
    QString server; ///< the domain controller that sent it

    /// The attribute's values, empty where the object lacks it.
    QList<QByteArray> values(const QString& name) const;
    Values view(const QString& name) const;
    /// The first value as UTF-8 text, null where the object lacks the attribute.
    QString text(const QString& name) const;
    /// Replaces all of them; no values take the attribute away.
    void setValues(const QString& name, const QList<QByteArray>& values);
    std::vector<Attribute> attributes() const;

    /// Begins an attribute that the entry has not got yet; add its values next.
    void begin(const QString& name);
    void add(QByteArrayView value);
    /// Makes room for so many values with so many octets in all.
    void reserve(qsizetype values, qsizetype octets);

private:
    struct Part {
        QString name;
        qsizetype first, count; ///< of m_values
    };
    const Part* find(const QString& name) const;
    Values view(const Part& part) const;

    // In three pieces of memory: a list for each attribute and an array for each value made a third
    // of what a long list cost.
    std::vector<Part> m_parts; ///< a handful: a map costs more than it finds
    std::vector<Octets> m_values;
    std::string m_octets;
};

/// The entries of one search. Destroying it unfinished abandons the search.
class Entries {
public:
    virtual ~Entries() = default;
    /// The next entry, none at the end. Throws Error where the search breaks off, never ends short.
    virtual std::optional<Entry> next() = 0;
};

/// One change of an attribute (RFC 4511 section 4.6).
struct Change {
    enum class Kind {
        Replace, ///< all its values; no values clear it, even if it has none
        Delete,  ///< these values, which it must have
        Add      ///< these values, which it must lack; an attribute of one value must have none
    };
    QString attribute;
    QList<QByteArray> values;
    Kind kind = Kind::Replace;
};

/// Thrown by a modify that was refused, whole, because the object, or one that it names, is not as
/// the changes want it.
class ChangedSince : public Error {
public:
    using Error::Error;
};

/// Thrown by a modify whose answer was lost: the change may have been made, or may be made yet.
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

/// A session with a directory. Both verbs throw Error naming what was tried on what object.
class Session {
public:
    virtual ~Session() = default;
    /// Throws Error if the base names no object or the filter cannot be read, DirectoryFailed if
    /// the server that is named does not answer, or none does if none is named; may also throw only
    /// when the first entry is asked for.
    [[nodiscard]] virtual std::unique_ptr<Entries> search(const SearchRequest& request) = 0;
    /// Applies all changes, in order, or none. `name` and `server` as in SearchRequest. Throws
    /// ChangedSince, DirectoryFailed or another Error: then nothing was changed; or OutcomeUnknown.
    virtual void modify(const QString& name, const QList<Change>& changes,
                        const QString& server = {}) = 0;
};

class Engine {
public:
    virtual ~Engine() = default;
    /// Throws Error where no session can be made. The engine must outlive its sessions.
    [[nodiscard]] virtual std::unique_ptr<Session> openSession() = 0;
};

} // namespace rehome::engine
