#include "platform/ldap/search_stream.h"

#include "platform/engine/escape.h"

#include <ldap.h>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

struct ElementFree {
    void operator()(BerElement* element) const { ber_free(element, 0); }
};
struct ArrayFree {
    void operator()(berval* values) const { ber_memfree(values); } // which lie in the message
};

QByteArray octets(const berval& value) {
    return QByteArray(value.bv_val, qsizetype(value.bv_len));
}

/// Which of an attribute's values a domain controller has sent.
struct Range {
    QString name; ///< the attribute's own
    qsizetype first = -1;
    qsizetype last = -1; ///< -1: they are the last ones
};

/// As the controller marks them: the plain name, ";range=", the first value's number, "-", and the
/// last one's or "*". `first` is -1 where the mark cannot be read.
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

SearchStream::SearchStream(std::shared_ptr<Connection> connection, engine::SearchRequest request,
                           int pageSize)
    : m_connection(std::move(connection)), m_request(std::move(request)), m_pageSize(pageSize),
      m_number(m_connection->sendSearch(m_request, pageSize, {})),
      m_first(m_connection->receive(m_number, attempt())) {
    if (ldap_msgtype(m_first.get()) == LDAP_RES_SEARCH_RESULT)
        m_connection->checkResult(m_first, attempt());
}

SearchStream::~SearchStream() {
    if (!m_finished)
        m_connection->abandon(m_number);
}

std::optional<engine::Entry> SearchStream::next() {
    auto entry = nextAsSent();
    if (entry)
        completeRanges(*entry);
    return entry;
}

std::optional<engine::Entry> SearchStream::nextAsSent() {
    while (!m_finished) {
        const Message message =
            m_first ? std::move(m_first) : m_connection->receive(m_number, attempt());
        const int type = ldap_msgtype(message.get());
        if (type == LDAP_RES_SEARCH_ENTRY)
            return decode(message);
        if (type != LDAP_RES_SEARCH_RESULT)
            continue; // a reference to another server's part of the tree
        m_finished = true;
        const QByteArray cookie = m_connection->checkResult(message, attempt());
        if (!cookie.isEmpty()) {
            m_number = m_connection->sendSearch(m_request, m_pageSize, cookie);
            m_finished = false;
        }
    }
    return std::nullopt;
}

void SearchStream::refuse(const QString& why) const {
    m_connection->fail(attempt(), {LDAP_DECODING_ERROR, why});
}

engine::Entry SearchStream::decode(const Message& message) const {
    LDAP* handle = m_connection->handle();
    const auto text = [&](const QByteArray& utf8) {
        if (!utf8.isValidUtf8())
            refuse(u"a name is not UTF-8: "_s + QString::fromLatin1(utf8.toPercentEncoding()));
        return QString::fromUtf8(utf8);
    };
    engine::Entry entry;
    BerElement* position = nullptr;
    berval name{};
    const int opened = ldap_get_dn_ber(handle, message.get(), &position, &name);
    const std::unique_ptr<BerElement, ElementFree> owned(position);
    if (opened != LDAP_SUCCESS)
        refuse(u"an entry cannot be decoded"_s);
    entry.distinguishedName = engine::directorySpelling(text(octets(name)));
    for (;;) {
        berval* array = nullptr;
        const int read = ldap_get_attribute_ber(handle, message.get(), position, &name, &array);
        const std::unique_ptr<berval, ArrayFree> values(array);
        if (read != LDAP_SUCCESS)
            refuse(u"the entry %1 cannot be decoded"_s.arg(entry.distinguishedName));
        if (!name.bv_val)
            return entry;
        const QString attribute = text(octets(name));
        QList<QByteArray> list;
        for (const berval* value = array; value && value->bv_val; ++value)
            list += octets(*value);
        if (engine::holdsNames(attribute))
            for (QByteArray& value : list)
                value = engine::directorySpelling(text(value)).toUtf8();
        if (!list.isEmpty() || parseRange(attribute))
            entry.attributes[attribute] = std::move(list);
    }
}

void SearchStream::completeRanges(engine::Entry& entry) {
    const auto sent = entry.attributes;
    for (const auto& [sentName, sentValues] : sent) {
        auto range = parseRange(sentName);
        if (!range)
            continue;
        entry.attributes.erase(sentName);
        const QString name = range->name;
        QList<QByteArray> values, part = sentValues;
        for (;;) {
            if (!range || range->first != values.size() ||
                (range->last >= 0 &&
                 (part.isEmpty() || range->last + 1 != values.size() + part.size())))
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
                 more ? more->attributes : decltype(entry.attributes)()) {
                const auto next = parseRange(moreName);
                if (!next || next->name.compare(name, Qt::CaseInsensitive) != 0)
                    continue;
                range = next;
                part = moreValues;
            }
        }
        if (!values.isEmpty())
            entry.attributes[name] = values;
    }
}

} // namespace rehome::ldap
