#include "platform/computer_name.h"

#include <QSysInfo>

namespace rehome::platform {

QString computerName() {
    return QSysInfo::machineHostName().section(u'.', 0, 0).toUpper().left(15);
}

} // namespace rehome::platform
