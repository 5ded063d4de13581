#include "platform/embedded/database.h"

#include "platform/error.h"

#include <QDir>
#include <QTemporaryFile>

#include <cstdarg>
#include <cstdio>
#include <new>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

/// libldb passes over what follows the filter's last parenthesis; RFC 4515 allows nothing there.
bool isOneGroup(const QString& filter) {
    int depth = 0;
    for (qsizetype i = 0; i < filter.size(); ++i) {
        if (filter.at(i) == u'(')
            ++depth;
        else if (filter.at(i) == u')' && --depth == 0)
            return filter.mid(i + 1).trimmed().isEmpty();
        if (depth == 0 && !filter.at(i).isSpace())
            return false;
    }
    return false;
}

template <class T>
T* obtained(T* memory) {
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

ldb_scope ldbScope(engine::Scope scope) {
    switch (scope) {
    case engine::Scope::Base:
        return LDB_SCOPE_BASE;
    case engine::Scope::OneLevel:
        return LDB_SCOPE_ONELEVEL;
    case engine::Scope::Subtree:
        break;
    }
    return LDB_SCOPE_SUBTREE;
}

} // namespace

Database::Database() : m_context(ldb_init(nullptr, nullptr)) {
    if (!m_context)
        throw Error(u"The database for the organisation could not be made: libldb does not "
                    "start."_s);
    ldb_set_debug(m_context.get(), keepMessage, this);
    m_comparison.installIn(*m_context);

    // Its name goes at the end of this block; libldb goes on with the open file.
    QTemporaryFile file(QDir(QDir::tempPath()).filePath(u"rehome-XXXXXX"_s));
    const bool made = file.open();
    const QByteArray url = "tdb://" + QFile::encodeName(file.fileName());
    if (!made || ldb_connect(m_context.get(), url.constData(), LDB_FLG_NOSYNC, nullptr) != 0)
        throw Error(
            u"No temporary file for the organisation could be made in %1: %2. Free some space "
            "there, or set TMPDIR to another directory."_s.arg(
                QDir::tempPath(),
                made ? QString::fromUtf8(ldb_errstring(m_context.get())) : file.errorString()));
}

void Database::check(int result) const {
    if (result == LDB_SUCCESS)
        return;
    const char* detail = ldb_errstring(m_context.get());
    throw Error(QString::fromUtf8(detail ? detail : ldb_strerror(result)));
}

void Database::keepMessage(void* self, ldb_debug_level level, const char* format, va_list values) {
    if (level > LDB_DEBUG_ERROR)
        return;
    char text[500];
    std::vsnprintf(text, sizeof text, format, values);
    static_cast<Database*>(self)->m_lastMessage = QString::fromUtf8(text).simplified();
}

Talloc<ldb_dn> Database::name(const QString& text) const {
    const QByteArray utf8 = text.toUtf8();
    Talloc<ldb_dn> name;
    if (!utf8.contains('\0'))
        name.reset(obtained(ldb_dn_new(nullptr, m_context.get(), utf8.constData())));
    if (!name || !ldb_dn_validate(name.get()) || ldb_dn_is_special(name.get()) ||
        ldb_dn_has_extended(name.get()))
        return nullptr;
    return name;
}

QByteArray Database::key(ldb_dn& name) {
    return ldb_dn_get_casefold(&name);
}

Talloc<ldb_message> Database::readRecord(const QByteArray& ldif) const {
    m_lastMessage.clear();
    const char* position = ldif.constData();
    const Talloc<ldb_ldif> record(ldb_ldif_read_string(m_context.get(), &position));
    if (!record)
        throw Error(m_lastMessage.isEmpty() ? u"it is not an LDIF record"_s : m_lastMessage);
    ldb_message* message = nullptr;
    check(ldb_msg_normalize(m_context.get(), nullptr, record->msg, &message));
    Talloc<ldb_message> result(message);
    if (!ldb_dn_validate(result->dn) || ldb_dn_is_special(result->dn))
        throw Error(u"\"%1\" is not a distinguished name"_s.arg(
            QString::fromUtf8(ldb_dn_get_linearized(result->dn))));
    return result;
}

void Database::load(const std::function<void()>& fill) {
    check(ldb_transaction_start(m_context.get()));
    try {
        fill();
    } catch (...) {
        ldb_transaction_cancel(m_context.get());
        throw;
    }
    check(ldb_transaction_commit(m_context.get()));
}

void Database::add(const ldb_message& record) {
    check(ldb_add(m_context.get(), &record));
}

void Database::modify(const QString& name, const Changes& changes) {
    const Talloc<ldb_message> message(obtained(ldb_msg_new(nullptr)));
    message->dn = obtained(ldb_dn_new(message.get(), m_context.get(), name.toUtf8().constData()));
    for (const auto& [attribute, values] : changes) {
        const QByteArray label = attribute.toUtf8();
        check(ldb_msg_add_empty(message.get(), label.constData(), LDB_FLAG_MOD_REPLACE, nullptr));
        for (const QByteArray& value : values) {
            const auto size = static_cast<size_t>(value.size());
            const ldb_val copy{static_cast<uint8_t*>(obtained(
                                   talloc_memdup(message.get(), value.constData(), size + 1))),
                               size};
            check(ldb_msg_add_value(message.get(), label.constData(), &copy, nullptr));
        }
    }
    check(ldb_modify(m_context.get(), message.get()));
}

Talloc<LdbFilter> Database::filter(const QString& text) const {
    Talloc<LdbFilter> tree;
    if (isOneGroup(text) && !text.contains(QChar(0)))
        tree.reset(ldb_parse_tree(nullptr, text.toUtf8().constData()));
    if (!tree)
        throw Error(u"The search filter \"%1\" cannot be read."_s.arg(text));
    return tree;
}

Talloc<ldb_result> Database::search(ldb_dn& base, engine::Scope scope, LdbFilter& filter) const {
    Talloc<ldb_result> result(obtained(talloc_zero(nullptr, struct ldb_result)));
    LdbRequest* made = nullptr;
    check(ldb_build_search_req_ex(&made, m_context.get(), nullptr, &base, ldbScope(scope), &filter,
                                  nullptr, nullptr, result.get(), ldb_search_default_callback,
                                  nullptr));
    const Talloc<LdbRequest> request(made);
    check(ldb_request(m_context.get(), request.get()));
    check(ldb_wait(request->handle, LDB_WAIT_ALL));
    return result;
}

engine::Entry entryOf(const ldb_message& record, const QString& name) {
    engine::Entry entry;
    entry.distinguishedName = name;
    for (unsigned i = 0; i < record.num_elements; ++i) {
        const ldb_message_element& element = record.elements[i];
        auto& values = entry.attributes[QString::fromUtf8(element.name)];
        for (unsigned j = 0; j < element.num_values; ++j)
            values.append(QByteArray(reinterpret_cast<const char*>(element.values[j].data),
                                     static_cast<qsizetype>(element.values[j].length)));
    }
    return entry;
}

} // namespace rehome::embedded
