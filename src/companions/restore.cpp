// rehome-restore: gives one user the attributes back that a recovery file holds.
#include "companions/restore_choice.h"
#include "journal/recovery_stream.h"
#include "platform/error.h"
#include "platform/exchange/home_attributes.h"
#include "platform/guid.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/server_location.h"
#include "platform/shown_text.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <optional>

using namespace rehome;
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int CannotStart = 2; ///< exit status: wrong arguments, or a file that cannot be read

const QString Usage =
    u"Usage: rehome-restore [--yes] FILE USER\n"
    "Restores one user from a recovery file of rehome: shows the record, and with --yes applies "
    "it.\n"
    "FILE is the recovery file; USER is an e-mail address or an objectGUID.\n"
    "  --yes      change the user in the directory\n"
    "  --help     show this help\n"
    "  --version  show the version\n"_s;

void print(std::FILE* stream, const QString& text) {
    std::fputs(platform::shownMessage(text).toUtf8().constData(), stream);
}

struct Arguments {
    bool applies = false;
    QStringList operands;
    QString answer; ///< what to print instead of doing anything
};

/// None if they are wrong.
std::optional<Arguments> parsed(const QStringList& words) {
    Arguments arguments;
    bool optionsEnded = false;
    for (const QString& word : words) {
        if (optionsEnded || !word.startsWith(u'-') || word == "-"_L1)
            arguments.operands += word;
        else if (word == "--"_L1)
            optionsEnded = true;
        else if (word == "--yes"_L1)
            arguments.applies = true;
        else if (word == "--help"_L1)
            arguments.answer = Usage;
        else if (word == "--version"_L1)
            arguments.answer = u"rehome-restore " REHOME_VERSION "\n"_s;
        else
            return std::nullopt;
    }
    if (arguments.answer.isEmpty() && arguments.operands.size() != 2)
        return std::nullopt;
    return arguments;
}

/// As a POSIX shell takes it for one word.
QString shellWord(QString text) {
    static const QRegularExpression plain(u"\\A[-A-Za-z0-9_@%+=:,./]+\\z"_s);
    if (plain.match(text).hasMatch())
        return text;
    return u'\'' + text.replace(u'\'', "'\\''"_L1) + u'\'';
}

/// A line of LDIF, in base64 only if a terminal could not show the value as it is.
QString ldifLine(const QString& name, const QByteArray& value) {
    const QString text = QString::fromUtf8(value);
    const bool shows = text.toUtf8() == value && platform::shownText(text) == text;
    return shows ? name + u": "_s + text + u'\n'
                 : name + u":: "_s + QString::fromLatin1(value.toBase64()) + u'\n';
}

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
void apply(const companions::Choice& choice, const QString& again) {
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

void run(const Arguments& arguments, const QList<journal::FiledRecord>& filed) {
    for (const journal::FiledRecord& one : filed)
        if (!one.Fault.isEmpty())
            print(
                stderr,
                u"rehome-restore: The record on line %1 cannot be used: %2.\n"_s.arg(one.Line).arg(
                    one.Fault));
    const companions::Choice choice = companions::chooseRecord(filed, arguments.operands[1]);
    for (const QString& note : choice.notes)
        print(stderr, u"rehome-restore: %1\n"_s.arg(note));
    print(stdout, ldif(choice.record) + u'\n');

    QString again;
    if (const QString uri = qEnvironmentVariable("LDAPURI"); !uri.isEmpty())
        again = u"LDAPURI="_s + shellWord(uri) + u' ';
    again += u"rehome-restore --yes"_s;
    if (arguments.operands.join(u' ').contains(QRegularExpression(u"(^| )-"_s)))
        again += u" --"_s;
    for (const QString& operand : arguments.operands)
        again += u' ' + shellWord(operand);
    if (arguments.applies)
        return apply(choice, again);
    print(stdout, u"Nothing has been changed. To restore %1, run: %2\n"_s.arg(choice.user, again));
}

} // namespace

int main(int argc, char** argv) {
    ldap::limitNameLookups();
    journal::fillStandardDescriptors();
    const QCoreApplication application(argc, argv);
    const auto arguments = parsed(QCoreApplication::arguments().sliced(1));
    if (!arguments) {
        print(stderr, Usage);
        return CannotStart;
    }
    if (!arguments->answer.isEmpty()) {
        print(stdout, arguments->answer);
        return EXIT_SUCCESS;
    }
    QList<journal::FiledRecord> filed;
    try {
        filed = journal::readRecoveryFile(arguments->operands[0]);
    } catch (const std::exception& error) {
        print(stderr, u"rehome-restore: %1\n"_s.arg(describe(error)));
        return CannotStart;
    }
    int status = EXIT_SUCCESS;
    try {
        run(*arguments, filed);
    } catch (const std::exception& error) {
        print(stderr, u"rehome-restore: %1\n"_s.arg(describe(error)));
        status = EXIT_FAILURE;
    }
    // A thread that the engine has left behind must not see its libraries being taken down.
    std::fflush(nullptr);
    std::_Exit(status);
}
