#include "journal/recovery_ldif.h"

#include "platform/error.h"

#include <QUuid>
#include <QtEndian>

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

/// The first three groups of an `objectGUID` are stored least significant byte first.
QByteArray guidBase(const QByteArray& octets) {
    if (octets.size() != 16)
        throw Error(QStringLiteral("An object without an \"objectGUID\" cannot be recorded."));
    const auto* bytes = octets.constData();
    const QUuid guid(qFromLittleEndian<quint32>(bytes), qFromLittleEndian<quint16>(bytes + 4),
                     qFromLittleEndian<quint16>(bytes + 6), uchar(bytes[8]), uchar(bytes[9]),
                     uchar(bytes[10]), uchar(bytes[11]), uchar(bytes[12]), uchar(bytes[13]),
                     uchar(bytes[14]), uchar(bytes[15]));
    return "<GUID=" + guid.toByteArray(QUuid::WithoutBraces) + '>';
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
