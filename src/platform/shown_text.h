#pragma once
#include <QString>
namespace rehome::platform {
QString shownText(const QString& name);
}
