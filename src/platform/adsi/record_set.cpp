#include "platform/adsi/record_set.h"

#include "platform/error.h"

#include <algorithm>

namespace rehome::adsi {

RecordSet::RecordSet(std::shared_ptr<ConnectionSession> connection,
                     const engine::SearchRequest& request)
    : m_connection(std::move(connection)), m_entries(m_connection->session->search(request)),
      m_current(m_entries->next()), m_empty(!m_current) {
    for (const QString& name : request.attributes)
        m_columns.push_back({name, syntaxOf(name)});
}

void RecordSet::requireRecord(const char* operation) const {
    if (!m_entries || !m_connection->session)
        throw Error(QStringLiteral("%1: the record set or its connection is closed.")
                        .arg(QLatin1String(operation)));
    if (!m_current)
        throw Error(QStringLiteral("%1: the record set is not positioned on a record.")
                        .arg(QLatin1String(operation)));
}

void RecordSet::MoveFirst() {
    requireRecord("MoveFirst");
    if (!m_onFirst)
        throw Error(QStringLiteral("MoveFirst: the record set is read forwards only, and its first "
                                   "record has been passed."));
}

void RecordSet::MoveNext() {
    requireRecord("MoveNext");
    m_onFirst = false;
    m_current.reset();
    m_current = m_entries->next();
}

void RecordSet::Close() {
    m_current.reset();
    m_entries.reset();
    m_connection.reset();
}

const RecordSet::Column& RecordSet::column(const QString& name) const {
    requireRecord("Fields");
    const auto column = std::find_if(m_columns.begin(), m_columns.end(), [&](const Column& asked) {
        return engine::isSameAttribute(asked.Name, name);
    });
    if (column == m_columns.end())
        throw Error(QStringLiteral("The search did not ask for the attribute \"%1\".").arg(name));
    return *column;
}

platform::Field RecordSet::Fields(const QString& name) const {
    const Column& asked = column(name);
    return {name, m_current->distinguishedName, valueOf(asked.Shape, m_current->view(asked.Name))};
}

QByteArrayView RecordSet::Utf8(const QString& name) const {
    const Column& asked = column(name);
    const auto values = m_current->view(asked.Name);
    if (asked.Shape != Syntax::Text || values.size() != 1)
        platform::toText(Fields(name));
    return values[0];
}

engine::Entry::Values RecordSet::Octets(const QString& name) const {
    return m_current->view(column(name).Name);
}

} // namespace rehome::adsi
