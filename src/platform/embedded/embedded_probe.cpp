#include "platform/embedded/embedded_probe.h"

#include "platform/embedded/rehearsal_attributes.h"
#include "platform/engine/escape.h"
#include "platform/error.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

engine::Entry existing(const Organisation& organisation, const QString& name) {
    auto object = organisation.object(name);
    if (!object)
        throw Error(u"There is no object \"%1\"."_s.arg(name));
    return *object;
}

} // namespace

void EmbeddedProbe::checkServer(const QString& serverName) {
    const auto server = existing(m_organisation, serverName);
    if (rehearsalAttributes(server).serverDown)
        throw Error(u"The server %1 does not answer."_s.arg(server.text(u"name"_s)));
}

qint16 EmbeddedProbe::storeStatus(const QString& storeName) {
    const auto store = existing(m_organisation, storeName);
    for (QString above = engine::parentName(store.distinguishedName); !above.isEmpty();
         above = engine::parentName(above))
        if (m_organisation.object(above))
            checkServer(above);
    return rehearsalAttributes(store).storeState;
}

} // namespace rehome::embedded
