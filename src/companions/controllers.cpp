#include "companions/controllers.h"

#include <QTimeZone>

#include <array>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

/// A read-only domain controller's (LDAP_CAP_ACTIVE_DIRECTORY_PARTIAL_SECRETS_OID, [MS-ADTS]
/// 3.1.1.3.4.3).
constexpr const char* PartialSecrets = "1.2.840.113556.1.4.1920";

/// By `domainControllerFunctionality` ([MS-ADTS] 3.1.1.3.2.27).
constexpr std::array Versions{"2000",    "2003", "2003",    "2008",
                              "2008 R2", "2012", "2012 R2", "2016 or later"};

} // namespace

QStringList controllerAttributes() {
    return {u"currentTime"_s, u"domainControllerFunctionality"_s, u"isSynchronized"_s,
            u"supportedCapabilities"_s};
}

QString controllerState(const engine::Entry& root, const QDateTime& now) {
    QStringList parts;
    bool isNumber = false;
    const auto level = root.text(u"domainControllerFunctionality"_s).toUInt(&isNumber);
    if (isNumber)
        parts += u"functional level of Windows Server "_s +
                 QLatin1String(Versions.at(std::min(size_t(level), Versions.size() - 1)));
    const bool readOnly = root.values(u"supportedCapabilities"_s).contains(PartialSecrets);
    parts += readOnly ? u"READ-ONLY: Rehome cannot change users there"_s : u"writable"_s;
    const QString synchronised = root.text(u"isSynchronized"_s);
    if (!synchronised.isEmpty())
        parts += synchronised == "TRUE"_L1 ? u"synchronised"_s
                                           : u"NOT SYNCHRONISED: its data may be out of date"_s;
    auto time = QDateTime::fromString(root.text(u"currentTime"_s).left(14), u"yyyyMMddHHmmss"_s);
    time.setTimeZone(QTimeZone::utc());
    if (time.isValid())
        parts += u"its clock is %1 s from this computer's"_s.arg(qAbs(time.secsTo(now)));
    return parts.join(u"; "_s);
}

} // namespace rehome::companions
