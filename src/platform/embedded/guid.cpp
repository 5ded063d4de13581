#include "platform/embedded/guid.h"

#include "platform/error.h"

#include <QRegularExpression>
#include <QUuid>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

QByteArray guidBytes(const QUuid& guid) {
    QByteArray bytes = guid.toRfc4122();
    std::reverse(bytes.begin(), bytes.begin() + 4);
    std::reverse(bytes.begin() + 4, bytes.begin() + 6);
    std::reverse(bytes.begin() + 6, bytes.begin() + 8);
    return bytes;
}

QByteArray guidOfBase(const QString& base) {
    static const QRegularExpression form(
        u"\\A<GUID=([0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12})>\\z"_s,
        QRegularExpression::CaseInsensitiveOption);
    const auto match = form.match(base);
    if (!match.hasMatch())
        throw Error(u"\"%1\" is not a GUID. It is written <GUID= and 36 hexadecimal digits and "
                    "hyphens >."_s.arg(base));
    return guidBytes(QUuid(match.captured(1)));
}

} // namespace rehome::embedded
