// rehome-restore: gives one user the attributes back that a recovery file holds.
#include "companions/console.h"
#include "companions/restore_choice.h"
#include "journal/shell_word.h"
#include "platform/error.h"
#include "platform/exchange/home_attributes.h"
#include "platform/guid.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/server_location.h"
#include "platform/shown_text.h"

#include <QRegularExpression>
#include <QStringList>

#include <cstdlib>

using namespace rehome;
using namespace rehome::companions;
using namespace Qt::Literals::StringLiterals;

namespace {

const QString Usage =
    u"Usage: rehome-restore [--yes] FILE USER\n"
    "Restores one user from a recovery file of rehome: shows the record, and with --yes applies "
    "it.\n"
    "FILE is the recovery file; USER is an e-mail address or an objectGUID.\n"
    "  --yes      change the user in the directory\n"
    "  --help     show this help\n"
    "  --version  show the version\n"_s;

QString ldif(const platform::RecoveryRecord& record) {
    QString text = ldifLine(u"dn"_s, record.DistinguishedName.toUtf8()) + u"changetype: modify\n"_s;
    for (const auto& [name, values] : record.Attributes) {
        text += ldifLine(u"replace"_s, name.toUtf8());
        for (const QByteArray& value : values)
            text += ldifLine(name, value);
        text += u"-\n"_s;
    }
    return text;
}

/// `server` as in SearchRequest.
engine::Entry read(engine::Session& session, const QString& base, const QString& server) {
    engine::SearchRequest request;
    request.base = base;
    request.attributes = exchange::homeAttributeNames();
    request.server = server;
    auto entry = session.search(request)->next();
    if (!entry)
        throw Error(u"%1 was not found."_s.arg(base));
    return *entry;
}

/// `again` is the command that does the same.
void apply(const Choice& choice, const QString& again) {
    const QUuid guid = platform::guidFromOctets(choice.record.Guid);
    const QString base = u"<GUID="_s + guid.toString(QUuid::WithoutBraces) + u'>';
    QList<engine::Change> changes;
    for (const auto& [name, values] : choice.record.Attributes)
        changes.append({name, values});

    ldap::LdapEngine engine;
    std::unique_ptr<engine::Session> session;
    engine::Entry user;
    try {
        session = engine.openSession();
        user = read(*session, base, {});
        session->modify(base, changes, user.server);
    } catch (const engine::OutcomeUnknown& failure) {
        throw Error(
            u"The answer to the change of %1 was lost.\nThe change may or may not have been "
            "made.\nRun the same command again (it writes the same values): %2\nDetails: %3"_s.arg(
                choice.user, again, failure.description()));
    } catch (const Error& failure) {
        throw Error(u"%1 could not be restored.\nNothing has been changed.\nRemove the cause that "
                    "the details name. Then run the same command again: %2\nDetails: %3"_s.arg(
                        choice.user, again, failure.description()));
    }
    try {
        user = read(*session, base, user.server);
    } catch (const Error& failure) {
        print(stderr,
              u"%1 has been restored at %2, but could not be read afterwards.\nDetails: %3\n"_s.arg(
                  choice.user, user.server, failure.description()));
        return;
    }
    QString now;
    for (const QString& name : exchange::homeAttributeNames())
        for (const QByteArray& value : user.values(name))
            now += ldifLine(name, value);
    print(stdout,
          u"%1 has been restored. At %2 the user has now:\n"_s.arg(choice.user, user.server) +
              ldifLine(u"dn"_s, user.distinguishedName.toUtf8()) + now);
}

void run(const CommandLine& line, const QList<journal::FiledRecord>& filed) {
    for (const journal::FiledRecord& one : filed)
        if (!one.Fault.isEmpty())
            print(
                stderr,
                u"rehome-restore: The record on line %1 cannot be used: %2.\n"_s.arg(one.Line).arg(
                    one.Fault));
    const Choice choice = chooseRecord(filed, line.operands[1]);
    for (const QString& note : choice.notes)
        print(stderr, u"rehome-restore: %1\n"_s.arg(note));
    print(stdout, ldif(choice.record) + u'\n');

    QString again;
    if (const QString uri = qEnvironmentVariable("LDAPURI"); !uri.isEmpty())
        again = u"LDAPURI="_s + journal::shellWord(uri) + u' ';
    again += u"rehome-restore --yes"_s;
    if (line.operands.join(u' ').contains(QRegularExpression(u"(^| )-"_s)))
        again += u" --"_s;
    for (const QString& operand : line.operands)
        again += u' ' + journal::shellWord(operand);
    if (line.has("--yes"_L1))
        return apply(choice, again);
    print(stdout, u"Nothing has been changed. To restore %1, run: %2\n"_s.arg(choice.user, again));
}

int restore(const CommandLine& line) {
    const journal::RecoveryFile file = journal::readRecoveryFile(line.operands[0]);
    try {
        run(line, file.Records);
    } catch (const std::exception& error) {
        print(stderr, u"rehome-restore: %1\n"_s.arg(describe(error)));
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    ldap::limitNameLookups();
    runConsole(argc, argv, {u"rehome-restore"_s, Usage, {u"--yes"_s}, 2, 2, restore});
}
