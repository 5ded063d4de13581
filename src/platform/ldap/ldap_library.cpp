#include "platform/ldap/ldap_library.h"

#include "platform/error.h"

#include <ldap.h>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

void LibraryFree::operator()(LDAP* handle) const {
    ldap_unbind_ext(handle, nullptr, nullptr);
}

void LibraryFree::operator()(LDAPMessage* message) const {
    ldap_msgfree(message);
}

void LibraryFree::operator()(char* string) const {
    ldap_memfree(string);
}

void LibraryFree::operator()(char** strings) const {
    ldap_memvfree(reinterpret_cast<void**>(strings));
}

QByteArray stringOption(LDAP* handle, int option) {
    char* value = nullptr;
    ldap_get_option(handle, option, &value);
    return QByteArray(LdapString(value).get());
}

void setOption(LDAP* handle, int option, int value) {
    ldap_set_option(handle, option, &value);
}

QString diagnosticMessage(LDAP* handle) {
    return QString::fromUtf8(stringOption(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE)).trimmed();
}

QByteArray toLdapString(const QString& string) {
    if (string.contains(QChar(0)))
        throw Error(u"The directory cannot be asked about “%1”: it holds a NUL character."_s.arg(
            QString(string).replace(QChar(0), u"\\00"_s)));
    return string.toUtf8();
}

} // namespace rehome::ldap
