#include "topology/names.h"

#include "platform/error.h"
#include "platform/guid.h"
#include "platform/text_case.h"

#include <limits>

namespace rehome::topology {

namespace {

constexpr qsizetype AttributeTypeLength = 3; // "CN="

QString afterFirstComponent(const QString& dn) {
    return dn.mid(FindUnescapedComma(dn));
}

QString firstComponentValue(const QString& rest, const QString& dn, const QString& what) {
    const qint16 comma = FindUnescapedComma(rest);
    if (comma == 0)
        throw Error(QStringLiteral("The name \"%1\" has too few components for a %2: it is not the "
                                   "distinguished name of a mailbox store. Correct homeMDB of the "
                                   "user; rehome-check names the user.")
                        .arg(dn, what));
    return RemoveBackslashes(rest.left(comma - 1).mid(AttributeTypeLength));
}

} // namespace

qint16 FindUnescapedComma(const QString& text) {
    if (text.size() > std::numeric_limits<qint16>::max())
        throw Error(QStringLiteral("A name of %1 characters is too long; at most 32,767 can be "
                                   "taken apart.")
                        .arg(text.size()));
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == u',' && (i == 0 || text.at(i - 1) != u'\\'))
            return static_cast<qint16>(i + 1);
    }
    return 0;
}

QString RemoveBackslashes(const QString& text) {
    QString plain = text;
    return plain.remove(u'\\');
}

QString GetStoreFromDN(const QString& dn) {
    return firstComponentValue(dn, dn, QStringLiteral("mailbox store"));
}

QString GetGroupFromDN(const QString& dn) {
    return firstComponentValue(afterFirstComponent(dn), dn, QStringLiteral("storage group"));
}

QString GetServerFromDN(const QString& dn) {
    const QString rest = afterFirstComponent(afterFirstComponent(afterFirstComponent(dn)));
    return firstComponentValue(rest, dn, QStringLiteral("server"));
}

QString MakeStoreFullName(const QString& server, const QString& group, const QString& store) {
    return server + u':' + group + u'\\' + store;
}

QString StoreFullNameFromDN(const QString& dn) {
    return MakeStoreFullName(GetServerFromDN(dn), GetGroupFromDN(dn), GetStoreFromDN(dn));
}

QString shownStoreName(const QString& dn) {
    try {
        return StoreFullNameFromDN(dn);
    } catch (const Error&) {
        return dn;
    }
}

bool isRecoveryBaseName(const QString& baseName) {
    return baseName.startsWith(u'R');
}

QString GuidToString(const QUuid& guid) {
    return platform::upperCase(guid.toString(QUuid::WithBraces));
}

QUuid OctetsToGuid(const platform::Value& value) {
    const auto* octets = std::get_if<QByteArray>(&value);
    if (!octets || octets->size() < 16)
        throw Error(QStringLiteral("An object's \"objectGUID\" is not a GUID of 16 bytes."));
    return platform::guidFromOctets(octets->left(16));
}

QString OctetGuidToString(const platform::Value& value) {
    return GuidToString(OctetsToGuid(value));
}

} // namespace rehome::topology
