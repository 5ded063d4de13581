#include "platform/value.h"

#include "platform/error.h"

namespace rehome::platform {

QString toText(const Field& field) {
    if (const auto* text = std::get_if<QString>(&field.Value))
        return *text;
    if (isNull(field.Value))
        throw Error(QStringLiteral("The attribute \"%1\" of %2 has no value, and a text is needed "
                                   "there. Give the object that attribute in the directory and "
                                   "start again.")
                        .arg(field.Name, field.Object));
    throw Error(QStringLiteral("The attribute \"%1\" of %2 is not a single text.")
                    .arg(field.Name, field.Object));
}

} // namespace rehome::platform
