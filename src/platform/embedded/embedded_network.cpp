#include "platform/embedded/embedded_network.h"

#include "platform/computer_name.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

EmbeddedNetwork::EmbeddedNetwork(const Organisation& organisation) {
    const auto root = organisation.rootObject();
    m_name = root.text(u"rehomeLocalServer"_s);
    if (m_name.isEmpty())
        m_name = platform::computerName();

    const auto servers = organisation.search({root.text(u"configurationNamingContext"_s),
                                              engine::Scope::Subtree,
                                              u"(objectClass=msExchExchangeServer)"_s,
                                              {u"name"_s}});
    while (const auto server = servers->next())
        m_namesServer = m_namesServer || server->text(u"name"_s) == m_name;
}

} // namespace rehome::embedded
