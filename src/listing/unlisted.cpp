#include "listing/unlisted.h"

#include "listing/mailbox_reader.h"
#include "topology/domains.h"

namespace rehome::listing {

using namespace Qt::Literals::StringLiterals;

namespace {

QString summary(engine::Session& session) {
    engine::SearchRequest root;
    root.attributes = QStringList{u"defaultNamingContext"_s};
    const QString domain =
        session.search(root)->next().value_or(engine::Entry()).text(root.attributes[0]);
    // "1.1" asks for no attributes (RFC 4511, 4.5.1.8).
    const auto found =
        session.search({domain, engine::Scope::Subtree, unlistedFilter(), {u"1.1"_s}});
    int unlisted = 0;
    while (const auto object = found->next())
        unlisted += isSystemObject(object->distinguishedName.toUtf8()) ? 0 : 1;
    const QString line = u"%1 not listed in %2"_s.arg(unlisted).arg(topology::domainName(domain));
    return unlisted == 0 ? line : line + u": run rehome-check to see which, and why"_s;
}

} // namespace

QString unlistedFilter() {
    return u"(&(|(homeMDB=*)(msExchHomeServerName=*))(!(&%1(mail=*))))"_s.arg(mailboxFilter());
}

void logUnlisted(engine::Engine& engine, platform::Journal& journal) noexcept {
    QString line;
    try {
        line = summary(*engine.openSession());
    } catch (const std::exception& error) {
        line = u"not listed: could not be counted: "_s + describe(error);
    }
    journal.Tell(platform::Event::Remark, line);
}

} // namespace rehome::listing
