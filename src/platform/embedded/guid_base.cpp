#include "platform/embedded/guid_base.h"

#include "platform/error.h"
#include "platform/guid.h"

#include <QRegularExpression>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

QByteArray guidOfBase(const QString& base) {
    static const QRegularExpression form(
        u"\\A<GUID=([0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12})>\\z"_s,
        QRegularExpression::CaseInsensitiveOption);
    const auto match = form.match(base);
    if (!match.hasMatch())
        throw Error(u"\"%1\" is not a GUID. It is written <GUID= and 36 hexadecimal digits and "
                    "hyphens >."_s.arg(base));
    return platform::octetsFromGuid(QUuid(match.captured(1)));
}

} // namespace rehome::embedded
