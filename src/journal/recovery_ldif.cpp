#include "journal/recovery_ldif.h"

#include "platform/error.h"
#include "platform/guid.h"

#include <lber.h>
#include <ldif.h>

#include <memory>
#include <new>

namespace rehome::journal {

namespace {

struct LibraryFree {
    void operator()(char* text) const { ber_memfree(text); }
};

QByteArray line(const QByteArray& name, const QByteArray& value) {
    const std::unique_ptr<char, LibraryFree> text(
        ldif_put(LDIF_PUT_VALUE, name.constData(), value.constData(), ber_len_t(value.size())));
    if (!text)
        throw std::bad_alloc();
    return QByteArray(text.get());
}

QByteArray guidBase(const QByteArray& octets) {
    if (octets.size() != 16)
        throw Error(QStringLiteral("An object without an \"objectGUID\" cannot be recorded."));
    return "<GUID=" + platform::guidFromOctets(octets).toByteArray(QUuid::WithoutBraces) + '>';
}

} // namespace

QByteArray toLdif(const platform::RecoveryRecord& record, Naming naming) {
    QByteArray ldif = line("dn", naming == Naming::ByGuid ? guidBase(record.Guid)
                                                          : record.DistinguishedName.toUtf8());
    ldif += "changetype: modify\n";
    for (const auto& [name, values] : record.Attributes) {
        const QByteArray attribute = name.toUtf8();
        ldif += line("replace", attribute);
        for (const QByteArray& value : values)
            ldif += line(attribute, value);
        ldif += "-\n";
    }
    return ldif;
}

} // namespace rehome::journal
