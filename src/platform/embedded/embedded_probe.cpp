#include "platform/embedded/embedded_probe.h"

#include "platform/embedded/rehearsal_attributes.h"
#include "platform/engine/escape.h"
#include "platform/error.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

void requireUp(const engine::Entry& server) {
    if (rehearsalAttributes(server).serverDown)
        throw Error(u"The server %1 does not answer."_s.arg(server.text(u"name"_s)));
}

} // namespace

void EmbeddedProbe::checkServer(const engine::Entry& server) {
    requireUp(whole(server));
}

qint16 EmbeddedProbe::storeStatus(const engine::Entry& store) {
    for (QString above = engine::parentName(store.distinguishedName); !above.isEmpty();
         above = engine::parentName(above))
        if (const auto object = m_organisation.object(above))
            requireUp(*object);
    return rehearsalAttributes(whole(store)).storeState;
}

engine::Entry EmbeddedProbe::whole(const engine::Entry& read) const {
    auto object = m_organisation.object(read.distinguishedName);
    if (!object)
        throw Error(u"There is no object \"%1\"."_s.arg(read.distinguishedName));
    return *object;
}

} // namespace rehome::embedded
