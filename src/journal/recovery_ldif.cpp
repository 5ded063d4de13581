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

/// `width`: at which lines are folded.
QByteArray line(const QByteArray& name, const QByteArray& value, ber_len_t width = 0) {
    const std::unique_ptr<char, LibraryFree> text(ldif_put_wrap(
        LDIF_PUT_VALUE, name.constData(), value.constData(), ber_len_t(value.size()), width));
    if (!text)
        throw std::bad_alloc();
    return QByteArray(text.get());
}

QByteArray guidBase(const QByteArray& octets) {
    if (octets.size() != 16)
        throw Error(QStringLiteral("An object without an \"objectGUID\" cannot be recorded."));
    // Windows 2000 does not know the form with hyphens.
    return "<GUID=" + octets.toHex() + '>';
}

/// Whether the value names a deleted object. Active Directory takes only names of objects that
/// exist, so such a value makes it refuse all changes of the record.
bool isDeadReference(const QString& attribute, const QByteArray& value) {
    return attribute.compare(u"homeMTA", Qt::CaseInsensitive) == 0 && value.contains("\\0ADEL:");
}

} // namespace

QByteArray toLdif(const platform::RecoveryRecord& record, Naming naming) {
    QByteArray comments;
    QByteArray ldif = line("dn", naming == Naming::ByGuid ? guidBase(record.Guid)
                                                          : record.DistinguishedName.toUtf8());
    ldif += "changetype: modify\n";
    for (const auto& [name, values] : record.Attributes) {
        const QByteArray attribute = name.toUtf8();
        ldif += line("replace", attribute);
        for (const QByteArray& value : values) {
            if (isDeadReference(name, value))
                comments += "# of a deleted object: " + line(attribute, value, LDIF_LINE_WIDTH_MAX);
            else
                ldif += line(attribute, value);
        }
        ldif += "-\n";
    }
    return comments + ldif;
}

} // namespace rehome::journal
