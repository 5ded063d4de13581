#include "platform/embedded/shipped_organisation.h"

#include <QFile>

using namespace Qt::StringLiterals;

// Resources of a static library are left out of the program unless they are named; the macro must
// stand outside any namespace.
static void initialiseResources() {
    Q_INIT_RESOURCE(shipped_organisation);
}

namespace rehome::embedded {

QByteArray shippedOrganisation() {
    initialiseResources();
    QFile file(u":/rehome/organisation.ldif"_s);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("The program was built without its organisation");
    return file.readAll();
}

} // namespace rehome::embedded
