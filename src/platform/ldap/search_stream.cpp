#include "platform/ldap/search_stream.h"

#include <ldap.h>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

struct ElementFree {
    void operator()(BerElement* element) const { ber_free(element, 0); }
};
struct TextFree {
    void operator()(char* text) const { ldap_memfree(text); }
};
struct ValuesFree {
    void operator()(berval** values) const { ldap_value_free_len(values); }
};

/// An attribute name as a domain controller sends it when it holds values back: the plain name,
/// ";range=", the first value's number, "-", and the last one's or "*" at the end.
struct Range {
    QString name;
    qsizetype last = -1; ///< -1: these are the last ones
};

std::optional<Range> parseRange(const QString& name) {
    const qsizetype at = name.indexOf(u";range="_s, 0, Qt::CaseInsensitive);
    if (at < 0)
        return std::nullopt;
    bool numeric = false;
    const qlonglong last = name.mid(name.lastIndexOf(u'-') + 1).toLongLong(&numeric);
    return Range{name.left(at), numeric ? qsizetype(last) : -1};
}

} // namespace

SearchStream::SearchStream(std::shared_ptr<Connection> connection, engine::SearchRequest request,
                           int pageSize)
    : m_connection(std::move(connection)), m_request(std::move(request)), m_pageSize(pageSize),
      m_number(m_connection->sendSearch(m_request, pageSize, {})),
      m_first(m_connection->receive(m_number, attempt())) {
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

engine::Entry SearchStream::decode(const Message& message) const {
    LDAP* handle = m_connection->handle();
    engine::Entry entry;
    const std::unique_ptr<char, TextFree> name(ldap_get_dn(handle, message.get()));
    entry.distinguishedName = QString::fromUtf8(name.get());
    BerElement* position = nullptr;
    std::unique_ptr<char, TextFree> attribute(
        ldap_first_attribute(handle, message.get(), &position));
    const std::unique_ptr<BerElement, ElementFree> owned(position);
    for (; attribute; attribute.reset(ldap_next_attribute(handle, message.get(), position))) {
        const std::unique_ptr<berval*, ValuesFree> values(
            ldap_get_values_len(handle, message.get(), attribute.get()));
        QList<QByteArray> list;
        for (berval** value = values.get(); value && *value; ++value)
            list += QByteArray((*value)->bv_val, qsizetype((*value)->bv_len));
        if (!list.isEmpty())
            entry.attributes[QString::fromUtf8(attribute.get())] = std::move(list);
    }
    return entry;
}

void SearchStream::completeRanges(engine::Entry& entry) {
    const auto sent = entry.attributes;
    for (const auto& [sentName, firstValues] : sent) {
        auto range = parseRange(sentName);
        if (!range)
            continue;
        entry.attributes.erase(sentName);
        QList<QByteArray>& values = entry.attributes[range->name];
        values = firstValues;
        while (range->last >= 0) {
            const qsizetype from = range->last + 1;
            engine::SearchRequest rest;
            rest.base = entry.distinguishedName;
            rest.attributes = QStringList{u"%1;range=%2-*"_s.arg(range->name).arg(from)};
            const auto more = SearchStream(m_connection, rest, 0).nextAsSent();
            const QString name = range->name;
            range->last = -1;
            for (const auto& [moreName, moreValues] :
                 more ? more->attributes : decltype(entry.attributes)()) {
                const auto next = parseRange(moreName);
                if (!next || next->name.compare(name, Qt::CaseInsensitive) != 0)
                    continue;
                values += moreValues;
                range->last = next->last >= from ? next->last : -1;
            }
        }
    }
}

} // namespace rehome::ldap
