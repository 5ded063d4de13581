#include "listing/mailbox_reader.h"

#include "topology/names.h"

namespace rehome::listing {

namespace {

const QString MailboxFilter =
    QStringLiteral("(&(&(& (mailnickname=*) (| (&(objectCategory=person)(objectClass=user)"
                   "(|(homeMDB=*)(msExchHomeServerName=*))) ))))");
const QString MailboxQuery =
    QStringLiteral(
        ">;%1;ADsPath,displayName,distinguishedName,homeMDB,mailNickname,objectGUID,mail,"
        "legacyExchangeDN,msExchHideFromAddressLists,proxyAddresses;subtree")
        .arg(MailboxFilter);

QString text(const adsi::RecordSet& rs, const QString& column) {
    return platform::toText(rs.Fields(column));
}

bool isListed(const adsi::RecordSet& rs) {
    return !rs.Octets(QStringLiteral("mail")).isEmpty() &&
           !isSystemObject(rs.Utf8(QStringLiteral("distinguishedName")));
}

QString displayName(const adsi::RecordSet& rs) {
    return text(rs, QStringLiteral("displayName"));
}

} // namespace

QString mailboxFilter() {
    return MailboxFilter;
}

bool isSystemObject(QByteArrayView distinguishedName) {
    return distinguishedName.contains(",CN=Microsoft Exchange System Objects,");
}

void MailboxReader::read(adsi::Connection& connection, const QString& context,
                         const RowSink& take) {
    const auto rs = connection.Execute(QStringLiteral("<LDAP://") + context + MailboxQuery,
                                       adsi::UnspecifiedOptions);
    if (rs->Bof())
        return;
    int rows = 0;
    for (rs->MoveFirst(); !rs->Eof(); rs->MoveNext()) {
        if (!isListed(*rs))
            continue;
        if (++rows > MostRows)
            throw Error(QStringLiteral("The list holds at most 32,767 mailboxes, and the directory "
                                       "has more."));
        Row row;
        try {
            readRow(row, *rs);
        } catch (const Error&) {
            take(row);
            tellWhatIsWrong(*rs);
            throw;
        }
        take(row);
    }
    rs->Close();
}

void MailboxReader::readRow(Row& row, const adsi::RecordSet& rs) {
    row.DisplayName = displayName(rs);
    const Home& home = homeOf(rs);
    row.Store = home.Store;
    row.State = home.State;
    row.Record = recordOf(rs, home);
}

const MailboxReader::Home& MailboxReader::homeOf(const adsi::RecordSet& rs) {
    const QByteArrayView sent = rs.Utf8(QStringLiteral("homeMDB"));
    const auto known = m_homes.constFind(QByteArray::fromRawData(sent.data(), sent.size()));
    if (known != m_homes.constEnd())
        return *known;
    const QString dn = QString::fromUtf8(sent);
    const QString store = topology::StoreFullNameFromDN(dn);
    if (!topology::CollectionContains(store, m_sourceStores))
        m_sourceStores.Add(store, store);
    const auto* listed = m_storeList.find(dn);
    return *m_homes.insert(
        sent.toByteArray(),
        {dn, store, listed ? (*listed)->StringStatus() : topology::unreachableState()});
}

std::shared_ptr<const mailbox::MailboxUser> MailboxReader::recordOf(const adsi::RecordSet& rs,
                                                                    const Home& home) const {
    auto user = std::make_shared<mailbox::MailboxUser>(m_platform);
    user->initFromRS(rs, home.Store, home.State, home.DN);
    return user;
}

void MailboxReader::tellWhatIsWrong(adsi::RecordSet& rs) {
    try {
        for (; !rs.Eof(); rs.MoveNext()) {
            if (!isListed(rs))
                continue;
            QStringList faults;
            const auto attempt = [&](auto step) {
                try {
                    step();
                } catch (const Error& error) {
                    faults += error.description();
                }
            };
            attempt([&] { displayName(rs); });
            attempt([&] { homeOf(rs); });
            attempt([&] { recordOf(rs, {}); });
            if (!faults.isEmpty())
                m_platform.Journal.Tell(
                    platform::Event::Remark,
                    QStringLiteral("the list stops at %1: %2")
                        .arg(text(rs, QStringLiteral("distinguishedName")), faults.join(u' ')));
        }
    } catch (const Error&) {
        // What stopped the list is being told already; this only ends the telling of more.
    }
}

} // namespace rehome::listing
