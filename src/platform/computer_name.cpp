#include "platform/computer_name.h"

#include "platform/text_case.h"

#include <QSysInfo>

namespace rehome::platform {

QString computerName() {
    return upperCase(QSysInfo::machineHostName().section(u'.', 0, 0)).left(15);
}

} // namespace rehome::platform
