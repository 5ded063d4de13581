// rehome-records: shows what became of each mailbox of one or more recovery files.
#include "companions/console.h"
#include "companions/fates.h"
#include "platform/blocking_call.h"
#include "platform/error.h"
#include "platform/guid.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/server_location.h"
#include "topology/names.h"

#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

using namespace rehome;
using namespace rehome::companions;
using namespace Qt::Literals::StringLiterals;

namespace {

const QString Usage =
    u"Usage: rehome-records [--now | --old] FILE...\n"
    "Shows what became of each mailbox in recovery files of rehome, one line each. Name the files "
    "in "
    "the order of the runs. Changes nothing.\n"
    "  --now      also compare with the directory, on each domain controller\n"
    "  --old      show the address, the mailbox GUID, a filter for it and the old store instead\n"
    "  --help     show this help\n"
    "  --version  show the version\n"
    "Exit status: 0 each mailbox was moved and opened, and has its address; 1 something is left to "
    "do; 2 a file could not be read, or no domain controller responded.\n"_s;

/// What the domain controllers say about one mailbox, each with those that say so.
using Answers = std::vector<std::pair<QString, QStringList>>;

void add(Answers& answers, const QString& said, const QString& server) {
    for (auto& [known, servers] : answers) {
        if (known == said) {
            servers += server;
            return;
        }
    }
    answers.push_back({said, {server}});
}

std::optional<engine::Entry> read(engine::Session& session, const QByteArray& guid) {
    engine::SearchRequest request;
    request.base =
        u"<GUID="_s + platform::guidFromOctets(guid).toString(QUuid::WithoutBraces) + u'>';
    request.attributes = QStringList{u"homeMDB"_s, u"msExchHomeServerName"_s};
    try {
        return session.search(request)->next();
    } catch (const engine::DirectoryFailed&) {
        throw;
    } catch (const Error&) {
        return std::nullopt; // there is no such object, or it cannot be read
    }
}

struct ControllerAnswer {
    QStringList said; ///< of each mailbox in order, as far as the domain controller responded
    QString failure;
};

ControllerAnswer ask(const QString& server, const std::vector<Fate>& fates) {
    ldap::LdapSettings settings;
    settings.servers = {{server}};
    ControllerAnswer answer;
    try {
        ldap::LdapEngine engine(settings);
        const auto session = engine.openSession();
        for (const Fate& fate : fates)
            answer.said += comparison(fate, read(*session, fate.guid));
    } catch (const Error& error) {
        answer.failure = error.description();
    }
    return answer;
}

/// Returns the answers about each mailbox. All domain controllers are asked at the same time, so
/// only the slowest one costs time. Throws Error if none responds.
std::vector<Answers> askAll(const std::vector<Fate>& fates) {
    const auto shared = std::make_shared<const std::vector<Fate>>(fates);
    std::vector<std::pair<QString, platform::BlockingCall<ControllerAnswer>>> calls;
    for (const QString& server : ldap::allServers())
        calls.emplace_back(server, [server, shared] { return ask(server, *shared); });
    std::vector<Answers> answers(fates.size());
    size_t failures = 0;
    for (auto& [server, call] : calls) {
        const auto answer = call.await(QDeadlineTimer(QDeadlineTimer::Forever), nullptr)
                                .value_or(ControllerAnswer());
        if (!answer.failure.isEmpty()) {
            print(stderr, u"rehome-records: %1\n"_s.arg(answer.failure));
            ++failures;
        }
        for (size_t i = 0; i < fates.size(); ++i)
            add(answers[i], answer.said.value(qsizetype(i), u"not known"_s), server);
    }
    if (failures == calls.size())
        throw Error(u"No domain controller responded."_s);
    return answers;
}

/// Prints one line each. Returns whether all is well.
bool tellStates(const std::vector<Fate>& fates, const std::vector<Answers>& answers) {
    bool well = true;
    for (size_t i = 0; i < fates.size(); ++i) {
        const Fate& fate = fates[i];
        QString line = fate.mailbox + u':';
        if (!fate.from.isEmpty())
            line += u" from "_s + topology::shownStoreName(fate.from);
        if (!fate.to.isEmpty())
            line += u" to "_s + topology::shownStoreName(fate.to);
        line += u": "_s + fate.state.text();
        well = well && fate.state.isWell();
        if (!answers.empty()) {
            for (const auto& [said, servers] : answers[i])
                line += u"; now "_s + said + u" at "_s + servers.join(u", "_s);
            well = well && answers[i].size() == 1 && answers[i][0].first == AsAfter;
        }
        print(stdout, line + u'\n');
    }
    return well;
}

/// Prints what is needed to bring old contents back, separated by tabs.
void tellOld(const std::vector<Fate>& fates) {
    for (const Fate& fate : fates) {
        const QByteArray guid = fate.recorded(u"msExchMailboxGuid"_s).value(0);
        QStringList columns{fate.address(), u"no mailbox GUID"_s, u"-"_s,
                            topology::shownStoreName(fate.from)};
        if (guid.size() == 16) {
            columns[1] = platform::guidFromOctets(guid).toString().toUpper();
            columns[2] = u"(msExchMailboxGuid=\\"_s + QString::fromLatin1(guid.toHex('\\')) + u')';
        }
        print(stdout, columns.join(u'\t') + u'\n');
    }
}

int tell(const CommandLine& line) {
    if (line.has("--now"_L1) && line.has("--old"_L1))
        throw Error(u"--now and --old cannot be combined."_s);
    std::vector<journal::RecoveryFile> files;
    bool whole = true;
    for (const QString& path : line.operands) {
        files.push_back(journal::readRecoveryFile(path));
        if (files.back().Records.isEmpty() && files.back().Lines.isEmpty())
            throw Error(
                u"\"%1\" is no recovery file of rehome: it has neither records nor log lines."_s
                    .arg(path));
        for (const journal::FiledRecord& record : files.back().Records) {
            if (record.Fault.isEmpty() || record.Half)
                continue;
            whole = false;
            print(stderr, u"rehome-records: %1: The record on line %2 cannot be used: %3.\n"_s.arg(
                              path, QString::number(record.Line), record.Fault));
        }
    }
    const std::vector<Fate> fates = fatesOf(files);
    if (line.has("--old"_L1)) {
        tellOld(fates);
        return whole ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    const bool now = line.has("--now"_L1) && !fates.empty();
    const bool well = tellStates(fates, now ? askAll(fates) : std::vector<Answers>());
    return well && whole ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    ldap::limitNameLookups();
    runConsole(argc, argv,
               {u"rehome-records"_s,
                Usage,
                {u"--now"_s, u"--old"_s},
                1,
                std::numeric_limits<qsizetype>::max(),
                tell});
}
