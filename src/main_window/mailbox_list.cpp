#include "main_window/mailbox_list.h"

#include "main_window/columns.h"
#include "platform/twips.h"
#include "topology/domains.h"
#include "topology/servers.h"

#include <QScopeGuard>

#include <map>

namespace rehome::main_window {

void MailboxList::InitGUI() {
    FlexGrid& grid = *m_controls.msfgMain;
    grid.setCols(ColumnCount);
    grid.setRows(1);
    grid.setRowHeightMin(platform::toTwips(m_controls.comboStoreName->height()));
    for (int column = FixedColumn; column < ColumnCount; ++column)
        grid.setColWidth(column, Columns[column].Width);
    grid.setRow(0);
    for (int column = DisplayNameColumn; column < ColumnCount; ++column) {
        grid.setCol(column);
        grid.setText(Columns[column].Heading);
    }

    m_controls.comboStoreName->Clear();
    m_controls.comboSourceMBx->Clear();
    m_controls.comboDestMBx->Clear();
    m_controls.comboStatus->Clear();
    m_controls.comboStatus->setText(QStringLiteral("Offline"));
    for (const QString& state : topology::storeStates())
        m_controls.comboStatus->AddItem(state);
    m_controls.comboSourceMBx->setText(clickToSelect());
    m_controls.comboDestMBx->setText(clickToSelect());

    m_chooser.reset();
    m_selection.resetSource();
}

void MailboxList::RefreshIt() {
    FlexGrid& grid = *m_controls.msfgMain;
    m_state.GridMailboxes = {};
    m_controls.disableInOrder(*m_controls.btnRefresh, *m_controls.btnMove);
    grid.setRedraw(false);
    grid.setScrollBars(FlexGrid::Bars::None);
    const auto whateverHappens = qScopeGuard([&] { grid.publish(); });

    topology::GetExchServers(m_platform.Directory, m_state.ServerNames, m_state.ServerDNs);
    const QString localServer = GetLocalServer();
    InitGUI();
    m_state.MailboxRowCount = 0;
    m_state.StoreList = {};
    m_platform.Exchange.BeginEnumeration();
    listStores(localServer);
    tellWhatIsMissing(localServer);

    try {
        listMailboxes();
    } catch (const std::exception& error) {
        grid.publish();
        grid.bringCurrentCellIntoView();
        m_platform.Desktop.Show(
            {QStringLiteral("Failed to refresh list of mailboxes. Error=") + describe(error)});
    }
}

void MailboxList::listStores(const QString& localServer) {
    for (const QString& server : m_state.ServerNames) {
        m_stores.GetServerStores(server, localServer, m_state.ServerDNs, m_state.StoreList,
                                 [&](const QString& fullName) {
                                     m_controls.comboDestMBx->AddItem(fullName);
                                     m_controls.comboStoreName->AddItem(fullName);
                                 });
    }
}

void MailboxList::tellWhatIsMissing(const QString& localServer) {
    const auto remark = [&](const QString& text) {
        m_platform.Journal.Tell(platform::Event::Remark, text);
    };
    if (m_state.ServerNames.Count() == 0)
        remark(QStringLiteral("no Exchange server is found: the organisation holds none, or you "
                              "may not read its configuration"));
    else if (m_state.StoreList.Count() == 0)
        remark(QStringLiteral("no mailbox store is found: the servers cannot be opened, or you may "
                              "not read the organisation's configuration"));
    else if (m_controls.comboStoreName->count() == 0)
        remark(
            QStringLiteral("no mailbox store is local, so none can be a destination: no server "
                           "called %1 could be opened, or it has no mailbox store. To start under "
                           "the name of another server: rehome-as NAME")
                .arg(localServer));
}

void MailboxList::listMailboxes() {
    listing::MailboxReader reader(m_platform, m_state.StoreList);
    reader.read(*m_directory.DirConnection, m_directory.DefaultNamingContext,
                [this](const listing::Row& row) { show(row); });
    finish(reader.sourceStores());
}

void MailboxList::show(const listing::Row& row) {
    FlexGrid& grid = *m_controls.msfgMain;
    grid.setRows(grid.Rows() + 1);
    grid.setRow(++m_state.MailboxRowCount);
    grid.setCol(DisplayNameColumn);
    for (int column = DisplayNameColumn; column < ColumnCount; ++column) {
        const auto& text = row.*Columns[column].Text;
        if (!text)
            return;
        grid.setCol(column);
        grid.setText(*text);
    }
    if (row.Record)
        m_state.GridMailboxes.Add(row.Record);
}

void MailboxList::finish(const topology::KeyedCollection<QString>& sourceStores) {
    FlexGrid& grid = *m_controls.msfgMain;
    for (const QString& store : sourceStores)
        m_controls.comboSourceMBx->AddItem(store);
    grid.setRedraw(true);
    grid.setScrollBars(FlexGrid::Bars::Both);
    m_selection.clearStores();
    grid.setCol(StoreColumn);
    grid.bringCurrentCellIntoView();
    m_chooser.showOverStore();
    m_controls.enableInOrder(*m_controls.btnRefresh, *m_controls.btnMove);
    const QString domain = topology::domainName(m_directory.DefaultNamingContext);
    m_platform.Journal.Tell(
        platform::Event::Listed,
        QStringLiteral("listed %1 mailboxes of %2; %3 mailbox stores on %4 servers")
            .arg(m_state.MailboxRowCount)
            .arg(domain)
            .arg(m_state.StoreList.Count())
            .arg(m_state.ServerNames.Count()));
    if (m_state.MailboxRowCount == 0 && m_state.StoreList.Count() > 0)
        m_platform.Journal.Tell(
            platform::Event::Remark,
            QStringLiteral(
                "no mailbox is listed: if the users are in another domain than %1, name a "
                "domain controller of theirs (LDAPURI=ldap://NAME) and start again; "
                "rehome-check tells of all domains")
                .arg(domain));
}

void MailboxList::tellOtherDomains() {
    QStringList names;
    try {
        for (const auto& domain : topology::otherDomains(*m_platform.Directory.session(),
                                                         m_directory.ConfigNamingContext,
                                                         m_directory.DefaultNamingContext))
            names += domain.name;
    } catch (const Error& error) {
        names = QStringList{QStringLiteral("not known (%1)").arg(error.description())};
    }
    if (!names.isEmpty())
        m_platform.Journal.Tell(
            platform::Event::Remark,
            QStringLiteral("other domains of the forest, which are not listed: ") +
                names.join(QStringLiteral(", ")));
}

void MailboxList::tellWhoRemains() {
    std::map<QString, int> mailboxes; // by server
    for (const auto& user : m_state.GridMailboxes)
        if (user->GetSourceStoreState() == topology::unreachableState())
            ++mailboxes[user->GetSourceStore().section(u':', 0, 0)];
    QStringList servers;
    for (const auto& [server, number] : mailboxes)
        servers += QStringLiteral("%1 on %2").arg(number).arg(server);
    if (!servers.isEmpty())
        m_platform.Journal.Tell(
            platform::Event::Remark,
            QStringLiteral("listed mailboxes that are still on unreachable servers: ") +
                servers.join(QStringLiteral(", ")));
}

} // namespace rehome::main_window
