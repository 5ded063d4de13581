#include "topology/domains.h"

#include "platform/engine/escape.h"
#include "platform/text_case.h"

namespace rehome::topology {

using namespace Qt::Literals::StringLiterals;

std::vector<Domain> otherDomains(engine::Session& session, const QString& configuration,
                                 const QString& context) {
    const auto entries = session.search({configuration,
                                         engine::Scope::Subtree,
                                         u"(&(objectClass=crossRef)(nETBIOSName=*))"_s,
                                         {u"nCName"_s, u"dnsRoot"_s}});
    const QString own = engine::directorySpelling(context);
    std::vector<Domain> domains;
    while (const auto reference = entries->next()) {
        const QString other = reference->text(u"nCName"_s);
        if (!platform::areSameInCapitals(engine::directorySpelling(other), own))
            domains.push_back({other, reference->text(u"dnsRoot"_s)});
    }
    return domains;
}

QString domainName(const QString& context) {
    QStringList labels;
    for (QString left = context; !left.isEmpty(); left = engine::parentName(left)) {
        if (!left.startsWith(u"DC="_s, Qt::CaseInsensitive))
            return context;
        labels += engine::firstValue(left);
    }
    return labels.join(u'.');
}

} // namespace rehome::topology
