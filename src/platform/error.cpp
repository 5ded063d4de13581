#include "platform/error.h"

namespace rehome {

QString describe(const std::exception& error) {
    if (const auto* own = dynamic_cast<const Error*>(&error))
        return own->description();
    return QString::fromLocal8Bit(error.what());
}

} // namespace rehome
