#include "platform/embedded/comparison.h"

#include "platform/engine/attribute_kind.h"
#include "platform/error.h"
#include "platform/text_case.h"

#include <QString>
#include <QStringDecoder>

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

QByteArray upper(const QByteArray& utf8) {
    return platform::upperCase(QString::fromUtf8(utf8)).toUtf8();
}

char* casefold(void*, void* parent, const char* text, size_t size) noexcept {
    const QByteArray folded = upper(
        QByteArray(text, static_cast<qsizetype>(qstrnlen(text, static_cast<qsizetype>(size)))));
    return talloc_strndup(parent, folded.constData(), static_cast<size_t>(folded.size()));
}

QByteArray bytesOf(const ldb_val& value) {
    return QByteArray(reinterpret_cast<const char*>(value.data),
                      static_cast<qsizetype>(value.length));
}

bool areSame(const ldb_val& a, const ldb_val& b) {
    return a.length == b.length && std::memcmp(a.data, b.data, a.length) == 0;
}

/// Folding only changes the case of such a text.
bool isPlain(const QByteArray& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

QByteArray keyOf(ldb_context& context, const QByteArray& name) {
    if (name.contains('\0'))
        return {};
    const ldb_val value{reinterpret_cast<uint8_t*>(const_cast<char*>(name.constData())),
                        static_cast<size_t>(name.size())};
    const Talloc<ldb_dn> parsed(ldb_dn_from_ldb_val(nullptr, &context, &value));
    if (!parsed || !ldb_dn_validate(parsed.get()) || ldb_dn_is_special(parsed.get()) ||
        ldb_dn_has_extended(parsed.get()))
        return {};
    for (int i = 0; i < ldb_dn_get_comp_num(parsed.get()); ++i)
        if (!bytesOf(*ldb_dn_get_component_val(parsed.get(), static_cast<unsigned>(i)))
                 .isValidUtf8())
            return {};
    return ldb_dn_get_casefold(parsed.get());
}

QByteArray foldedName(ldb_context* context, const ldb_val& value) {
    const QByteArray key = keyOf(*context, bytesOf(value));
    return key.isEmpty() ? Comparison::textKey(bytesOf(value)) : key;
}

int give(void* parent, const QByteArray& bytes, ldb_val* out) {
    const auto size = static_cast<size_t>(bytes.size());
    // libldb expects values to be followed by a zero that the length does not count.
    out->data = static_cast<uint8_t*>(talloc_memdup(parent, bytes.constData(), size + 1));
    out->length = size;
    return out->data ? 0 : -1;
}

int canonicalText(ldb_context*, void* parent, const ldb_val* in, ldb_val* out) noexcept {
    return give(parent, Comparison::textKey(bytesOf(*in)), out);
}

int compareText(ldb_context*, void*, const ldb_val* a, const ldb_val* b) noexcept {
    return areSame(*a, *b)
               ? 0
               : Comparison::textKey(bytesOf(*a)).compare(Comparison::textKey(bytesOf(*b)));
}

int canonicalName(ldb_context* context, void* parent, const ldb_val* in, ldb_val* out) noexcept {
    return give(parent, foldedName(context, *in), out);
}

int compareName(ldb_context* context, void*, const ldb_val* a, const ldb_val* b) noexcept {
    if (areSame(*a, *b))
        return 0;
    return foldedName(context, *a).compare(foldedName(context, *b));
}

} // namespace

Comparison::Comparison()
    : m_nameSyntax{.name = LDB_SYNTAX_DN,
                   .ldif_read_fn = ldb_handler_copy,
                   .ldif_write_fn = ldb_handler_copy,
                   .canonicalise_fn = canonicalName,
                   .index_format_fn = nullptr,
                   .comparison_fn = compareName,
                   .operator_fn = nullptr},
      m_octetSyntax{m_nameSyntax}, m_textSyntax{m_nameSyntax} {
    m_octetSyntax.name = LDB_SYNTAX_OCTET_STRING;
    m_octetSyntax.canonicalise_fn = ldb_handler_copy;
    m_octetSyntax.comparison_fn = ldb_comparison_binary;
    m_textSyntax.name = LDB_SYNTAX_DIRECTORY_STRING;
    m_textSyntax.canonicalise_fn = canonicalText;
    m_textSyntax.comparison_fn = compareText;
    m_name = {"*", 0, &m_nameSyntax};
    m_octets = {"*", 0, &m_octetSyntax};
    m_text = {"*", 0, &m_textSyntax};

    m_context.reset(ldb_init(nullptr, nullptr));
    if (!m_context)
        throw Error(u"The organisation cannot be held: libldb does not start."_s);
    // Debian 12's libldb lacks the successor, which takes a comparison, too: the syntaxes have it.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    ldb_set_utf8_fns(m_context.get(), nullptr, casefold);
    QT_WARNING_POP
    ldb_schema_attribute_set_override_handler(m_context.get(), attribute, this);
}

QByteArray Comparison::nameKey(const QByteArray& name) const {
    return keyOf(*m_context, name);
}

QByteArray Comparison::textKey(const QByteArray& text) {
    // Most values are: a search through 32,767 users takes 50 ms instead of 350.
    if (isPlain(text))
        return text.toUpper();
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    static_cast<void>(QString(decoder(text)));
    if (decoder.hasError() || text.contains('\0'))
        return text;
    return upper(text.simplified());
}

const ldb_schema_attribute* Comparison::attribute(ldb_context*, void* self, const char* name) {
    const auto& own = *static_cast<const Comparison*>(self);
    switch (engine::attributeKind(name).syntax) {
    case engine::AttributeKind::Syntax::Dn:
        return &own.m_name;
    case engine::AttributeKind::Syntax::Octets:
        return &own.m_octets;
    default:
        return &own.m_text;
    }
}

} // namespace rehome::embedded
