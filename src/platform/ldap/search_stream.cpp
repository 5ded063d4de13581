#include "platform/ldap/search_stream.h"

#include "platform/engine/attribute_kind.h"
#include "platform/engine/escape.h"

#include <ldap.h>

#include <algorithm>
#include <utility>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

struct ElementFree {
    void operator()(BerElement* element) const { ber_free(element, 0); }
};
struct ArrayFree {
    void operator()(berval* values) const { ber_memfree(values); } // which lie in the message
};

QByteArrayView octets(const berval& value) {
    return QByteArrayView(value.bv_val, qsizetype(value.bv_len));
}

/// The maximum number of values for which an entry reserves memory.
constexpr qsizetype MaxReserved = 64;

/// Which of an attribute's values a domain controller has sent.
struct Range {
    QString name; ///< the attribute's own
    qsizetype first = -1;
    qsizetype last = -1; ///< -1: they are the last ones
};

/// As the controller marks them: the plain name, ";range=", the first value's number, "-", and the
/// last one's or "*". `first` is -1 if the mark cannot be read.
std::optional<Range> parseRange(const QString& name) {
    const qsizetype at = name.indexOf(u";range="_s, 0, Qt::CaseInsensitive);
    if (at < 0)
        return std::nullopt;
    Range range{name.left(at)};
    const QStringList ends = name.mid(at + 7).split(u'-');
    bool first = false, last = false;
    const qlonglong from = ends.constFirst().toLongLong(&first);
    const qlonglong to = ends.constLast().toLongLong(&last);
    if (ends.size() == 2 && first && (last || ends.constLast() == u"*"))
        range.first = qsizetype(from);
    if (last)
        range.last = qsizetype(to);
    return range;
}

} // namespace

SearchStream::SearchStream(std::shared_ptr<ServerConnection> connection,
                           engine::SearchRequest request, int pageSize,
                           const std::shared_ptr<const void>& session)
    : m_connection(std::move(connection)),
      m_paging(pageSize > 0 ? m_connection->beginPaging() : nullptr), m_request(std::move(request)),
      m_pageSize(pageSize), m_number(m_connection->sendSearch(m_request, pageSize, {})) {
    if (session)
        m_session = session;
    receive();
    if (ldap_msgtype(m_next) == LDAP_RES_SEARCH_RESULT)
        m_connection->checkResult(m_next, attempt());
}

SearchStream::~SearchStream() {
    if (m_awaited)
        m_connection->abandon(m_number);
}

void SearchStream::receive() {
    if (m_session && m_session->expired())
        m_connection->fail(attempt(), {LDAP_USER_CANCELLED, u"the session is closed"_s});
    // The caller of a base search reads one entry, so the final message is read with it.
    using Wait = ServerConnection::Wait;
    const auto wait = m_request.scope == engine::Scope::Base ? Wait::ForAll
                      : m_received                           ? Wait::ForBatch
                                                             : Wait::ForAny;
    m_received = m_connection->receive(m_number, wait, attempt());
    m_next = m_received.get();
    LDAPMessage* last = m_next;
    while (LDAPMessage* after = ldap_next_message(m_connection->handle(), last))
        last = after;
    m_awaited = ldap_msgtype(last) != LDAP_RES_SEARCH_RESULT;
}

std::optional<engine::Entry> SearchStream::next() {
    try {
        auto entry = nextAsSent();
        if (m_ranged)
            completeRanges(*entry);
        return entry;
    } catch (const Failure& failure) {
        throwTranslated(failure);
    }
}

std::optional<engine::Entry> SearchStream::nextAsSent() {
    m_ranged = false;
    while (m_next || m_awaited) {
        if (!m_next)
            receive();
        LDAPMessage* message =
            std::exchange(m_next, ldap_next_message(m_connection->handle(), m_next));
        const int type = ldap_msgtype(message);
        if (type == LDAP_RES_SEARCH_ENTRY)
            return decode(message);
        if (type != LDAP_RES_SEARCH_RESULT)
            continue; // a reference to another server's part of the tree
        const QByteArray cookie = m_connection->checkResult(message, attempt());
        if (!cookie.isEmpty()) {
            m_number = m_connection->sendSearch(m_request, m_pageSize, cookie);
            m_awaited = true;
        } else {
            m_paging.reset();
        }
    }
    return std::nullopt;
}

void SearchStream::refuse(const QString& why) const {
    m_connection->fail(attempt(), {LDAP_DECODING_ERROR, why});
}

QString SearchStream::text(QByteArrayView utf8) const {
    if (!utf8.isValidUtf8())
        refuse(u"a name is not UTF-8: "_s +
               QString::fromLatin1(utf8.toByteArray().toPercentEncoding()));
    return QString::fromUtf8(utf8);
}

QString SearchStream::decodeDn(QByteArrayView name) const {
    return engine::isPlainName(name) ? QString::fromLatin1(name)
                                     : engine::directorySpelling(text(name));
}

const SearchStream::Name& SearchStream::nameOf(QByteArrayView sent) {
    // Entries of one search nearly always have the same names in the same order.
    for (size_t i = 0; i < m_names.size(); ++i) {
        const size_t at = (m_nextName + i) % m_names.size();
        if (m_names[at].sent == sent) {
            m_nextName = at + 1;
            return m_names[at];
        }
    }
    const QString name = text(sent);
    m_names.push_back({sent.toByteArray(), name, engine::attributeKind(sent).holdsDns(),
                       parseRange(name).has_value()});
    return m_names.back();
}

engine::Entry SearchStream::decode(LDAPMessage* message) {
    LDAP* handle = m_connection->handle();
    engine::Entry entry;
    BerElement* position = nullptr;
    berval name{};
    const int opened = ldap_get_dn_ber(handle, message, &position, &name);
    const std::unique_ptr<BerElement, ElementFree> owned(position);
    if (opened != LDAP_SUCCESS)
        refuse(u"an entry cannot be decoded"_s);
    entry.distinguishedName = decodeDn(octets(name));
    entry.server = m_connection->server();
    ber_len_t left = 0;
    ber_get_option(position, LBER_OPT_BER_REMAINING_BYTES, &left);
    entry.reserve(m_maxValues, qsizetype(left));
    m_nextName = 0;
    qsizetype count = 0;
    for (;;) {
        berval* array = nullptr;
        const int read = ldap_get_attribute_ber(handle, message, position, &name, &array);
        const std::unique_ptr<berval, ArrayFree> values(array);
        if (read != LDAP_SUCCESS)
            refuse(u"the entry %1 cannot be decoded"_s.arg(entry.distinguishedName));
        if (!name.bv_val)
            break;
        const Name& attribute = nameOf(octets(name));
        m_ranged = m_ranged || attribute.ranged;
        if (!attribute.ranged && (!array || !array->bv_val))
            continue;
        entry.begin(attribute.text);
        for (const berval* value = array; value && value->bv_val; ++value, ++count) {
            if (attribute.holdsDns && !engine::isPlainName(octets(*value)))
                entry.add(decodeDn(octets(*value)).toUtf8());
            else
                entry.add(octets(*value));
        }
    }
    m_maxValues = std::max(m_maxValues, std::min(count, MaxReserved));
    return entry;
}

void SearchStream::completeRanges(engine::Entry& entry) {
    for (const auto& [sentName, sentValues] : entry.attributes()) {
        auto range = parseRange(sentName);
        if (!range)
            continue;
        entry.setValues(sentName, {});
        const QString name = range->name;
        QList<QByteArray> values, part = sentValues;
        for (;;) {
            if (!range || range->first != values.size() ||
                (range->last >= 0 &&
                 (part.isEmpty() || range->last != values.size() + part.size() - 1)))
                refuse(u"%1 has more than the %2 values that were sent"_s.arg(name).arg(
                    values.size()));
            values += part;
            if (range->last < 0)
                break;
            engine::SearchRequest rest;
            rest.base = entry.distinguishedName;
            rest.attributes = QStringList{u"%1;range=%2-*"_s.arg(name).arg(values.size())};
            const auto more = SearchStream(m_connection, rest, 0).nextAsSent();
            range.reset();
            for (const auto& [moreName, moreValues] :
                 more ? more->attributes() : std::vector<engine::Attribute>()) {
                const auto next = parseRange(moreName);
                if (!next || next->name.compare(name, Qt::CaseInsensitive) != 0)
                    continue;
                range = next;
                part = moreValues;
            }
        }
        if (!values.isEmpty())
            entry.setValues(name, values);
    }
}

} // namespace rehome::ldap
