#include "platform/engine/attribute_kind.h"

#include <QByteArray>

#include <algorithm>
#include <array>

namespace rehome::engine {

namespace {

constexpr std::array OctetStrings{
    std::string_view("msExchMailboxGuid"),
    std::string_view("msExchMailboxSecurityDescriptor"),
    std::string_view("msExchMasterAccountSid"),
    std::string_view("nTSecurityDescriptor"),
    std::string_view("objectGUID"),
    std::string_view("objectSid"),
    std::string_view("sIDHistory"),
    std::string_view("thumbnailPhoto"),
    std::string_view("userCertificate"),
};

} // namespace

bool isOctetString(std::string_view attribute) {
    return std::any_of(OctetStrings.begin(), OctetStrings.end(), [&](std::string_view name) {
        return name.size() == attribute.size() &&
               qstrnicmp(name.data(), attribute.data(), name.size()) == 0;
    });
}

} // namespace rehome::engine
