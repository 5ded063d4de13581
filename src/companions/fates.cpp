#include "companions/fates.h"

#include "platform/guid.h"
#include "topology/names.h"

#include <QHash>

#include <algorithm>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;
using platform::Event;

const QString AsAfter = u"as after"_s;

namespace {

QString firstText(const QList<QByteArray>& values) {
    return QString::fromUtf8(values.value(0));
}

QList<QByteArray> valuesOf(const platform::RecoveryRecord& record, const QString& attribute) {
    for (const auto& [name, values] : record.Attributes)
        if (engine::isSameAttribute(name, attribute))
            return values;
    return {};
}

class Reader {
public:
    void take(const journal::RecoveryFile& file);
    std::vector<Fate> finish();

private:
    Fate& reach(const QString& mailbox);
    QString mailboxOf(const platform::RecoveryRecord& record) const;

    journal::MoveStates m_states;
    std::vector<Fate> m_fates;
};

Fate& Reader::reach(const QString& mailbox) {
    const QByteArray guid = journal::guidOctets(mailbox.section(u' ', -1).mid(1).chopped(1));
    const auto found = std::find_if(m_fates.begin(), m_fates.end(), [&](const Fate& fate) {
        return guid.isEmpty() ? fate.mailbox == mailbox : fate.guid == guid;
    });
    if (found != m_fates.end())
        return *found;
    m_fates.push_back({mailbox, guid, {}, {}, {}, {}});
    return m_fates.back();
}

/// Returns the mailbox as log lines name it. A rehearsal's records have no GUID: compare addresses.
QString Reader::mailboxOf(const platform::RecoveryRecord& record) const {
    const QString mail = firstText(valuesOf(record, u"mail"_s));
    if (!record.Guid.isEmpty())
        return (mail + u' ' + platform::guidFromOctets(record.Guid).toString().toUpper()).trimmed();
    for (const Fate& fate : m_fates)
        if (!mail.isEmpty() && fate.address() == mail)
            return fate.mailbox;
    return mail + u" {"_s + record.DistinguishedName + u'}';
}

void Reader::take(const journal::RecoveryFile& file) {
    QHash<QString, int> lastLine; // about a mailbox, by its name in log lines
    for (const auto& [number, line] : file.Lines) {
        if (line.Mailbox.isEmpty())
            continue;
        const auto event = journal::eventOf(line);
        if (line.Summary)
            m_states.takeSummary(line.Mailbox, line.Text);
        else if (event)
            m_states.take(*event, line.Mailbox);
        const QString store = event ? journal::storeOf(*event, line.Text) : QString();
        Fate& fate = reach(line.Mailbox);
        if (event == Event::Dropped && fate.from.isEmpty())
            fate.from = store;
        else if (event != Event::Dropped && !store.isEmpty())
            fate.to = store;
        lastLine[fate.mailbox] = number;
    }
    // The process may have ended between a record and the response to the change.
    const auto endsAt = [&](const Fate& fate, int record) {
        if (lastLine.value(fate.mailbox) < record)
            m_states.takeInterrupted(fate.mailbox);
    };
    for (const journal::FiledRecord& filed : file.Records) {
        if (filed.Half || !filed.Fault.isEmpty())
            continue;
        Fate& fate = reach(mailboxOf(filed.Record));
        endsAt(fate, filed.Line);
        if (fate.record)
            continue;
        fate.record = filed.Record;
        if (const auto home = fate.recorded(u"homeMDB"_s); !home.isEmpty())
            fate.from = firstText(home);
    }
    for (const journal::LaterChange& later : file.LaterChanges)
        for (const Fate& fate : m_fates)
            if (!later.Guid.isEmpty() && fate.guid == later.Guid)
                endsAt(fate, later.Line);
}

std::vector<Fate> Reader::finish() {
    std::vector<Fate> fates;
    for (Fate& fate : m_fates) {
        const auto* state = m_states.find(fate.mailbox);
        if (!state) // a remark about a mailbox that no move was tried on
            continue;
        fate.state = *state;
        fates.push_back(std::move(fate));
    }
    return fates;
}

} // namespace

QList<QByteArray> Fate::recorded(const QString& attribute) const {
    return record ? valuesOf(*record, attribute) : QList<QByteArray>();
}

std::vector<Fate> fatesOf(const std::vector<journal::RecoveryFile>& files) {
    Reader reader;
    for (const journal::RecoveryFile& file : files)
        reader.take(file);
    return reader.finish();
}

QString comparison(const Fate& fate, const std::optional<engine::Entry>& user) {
    if (!user)
        return u"not found"_s;
    const QString home = user->text(u"homeMDB"_s), server = user->text(u"msExchHomeServerName"_s);
    const auto isAsRecorded = [&](const QString& attribute) {
        return user->values(attribute) == fate.recorded(attribute);
    };
    if (fate.record && isAsRecorded(u"homeMDB"_s) && isAsRecorded(u"msExchHomeServerName"_s))
        return u"as before"_s;
    if (home.isEmpty() && server.isEmpty())
        return u"without a mailbox"_s;
    const QString serverOfHome = topology::shownStoreName(home).section(u':', 0, 0);
    if (home.isEmpty() || server.isEmpty() ||
        server.section(u"/cn="_s, -1, -1, QString::SectionCaseInsensitiveSeps)
                .compare(serverOfHome, Qt::CaseInsensitive) != 0)
        return u"half"_s;
    if (!fate.to.isEmpty() && home.compare(fate.to, Qt::CaseInsensitive) == 0)
        return AsAfter;
    return u"changed since, on %1"_s.arg(topology::shownStoreName(home));
}

} // namespace rehome::companions
