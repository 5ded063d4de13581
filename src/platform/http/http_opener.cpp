#include "platform/http/http_opener.h"

#include "platform/engine/escape.h"
#include "platform/http/mailbox_path.h"

#include <QScopeGuard>

#include <utility>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

Error describeWait(const Attempt& attempt) {
    return describeFailure(attempt, u"no answer yet"_s,
                           u"If this lasts, check that the server and the Kerberos server answer "
                           "(kvno HTTP/%1)."_s.arg(attempt.host));
}

} // namespace

HttpOpener::HttpOpener(DirectoryOnlyOpener& directoryOnly, const HttpSettings& settings,
                       platform::Interruption* interruption)
    : m_directoryOnly(directoryOnly), m_settings(settings), m_interruption(interruption) {
}

void HttpOpener::beginRound() noexcept {
    m_services.clear();
    m_answers.clear();
    m_taken = {};
    m_first = std::exchange(m_turnedAway, {});
    for (auto& [name, host] : m_hosts) {
        host.first = std::exchange(host.turnedAway, {});
        if (host.silentUntil.hasExpired())
            host.silence.reset();
        try {
            // An answer that nobody has taken for long is one to an earlier batch.
            if (host.client.isUnderWay() && Clock::now() - host.asked >= m_settings.silenceLimit)
                host.client.giveUp();
            else if (const auto answer = await(host, QDeadlineTimer(0)))
                m_answers.insert({host.url, host.store}, *answer);
        } catch (const Error&) {
            // The host's silence, which open() describes.
        }
    }
    m_directoryOnly.beginRound();
}

QString HttpOpener::open(engine::Session& directory, const engine::Mailbox& mailbox) {
    const WebService& service = serviceOf(directory, mailbox.server);
    if (service.withdrawn)
        return m_directoryOnly.open(directory, mailbox);
    const QString name = pathName(mailbox, service.domain);
    const Attempt attempt{mailbox, service.host, mailboxUrl(service.host, name)};
    if (name.isEmpty() || name == "."_L1 || name == ".."_L1)
        throw describeFailure(attempt, u"\"%1\" names no mailbox in a path"_s.arg(name),
                              u"Give the user another e-mail address."_s);
    if (const auto answer = m_answers.constFind({attempt.url, mailbox.store});
        answer != m_answers.constEnd())
        return folderIn(attempt, *answer);
    Host& host = hostOf(service.host, mailbox.server);
    try {
        return ask(attempt, host);
    } catch (const Error&) {
        const bool refused = host.silence && host.silence->kind() == NoAnswer::Kind::Refused;
        if (!refused || !service.withoutHttps)
            throw;
        host.turnedAway.remove(mailbox.user);
        return m_directoryOnly.count(mailbox, DirectoryOnlyOpener::Why::NoHttps);
    }
}

QString HttpOpener::ask(const Attempt& attempt, Host& host) {
    takeTurn(attempt, host);
    host.url = attempt.url;
    host.store = attempt.mailbox.store;
    host.asked = Clock::now();
    host.client.propfind(attempt.url.toLatin1(), FolderQuestion);
    const auto takes = qScopeGuard([&] { m_taken += Clock::now() - host.asked; });
    std::optional<Answer> answer;
    try {
        answer = await(host, QDeadlineTimer(m_settings.roundLimit - m_taken));
    } catch (const NoAnswer& failure) {
        throw describeNoAnswer(attempt, failure, m_settings);
    }
    if (!answer)
        throw describeWait(attempt);
    return folderIn(attempt, *answer);
}

const WebService& HttpOpener::serviceOf(engine::Session& directory, const QString& server) {
    auto known = m_services.find(server);
    if (known == m_services.end())
        known = m_services.insert(server, webServiceOf(directory, server));
    return *known;
}

HttpOpener::Host& HttpOpener::hostOf(const QString& name, const QString& server) {
    const auto known = m_hosts.find(name);
    if (known != m_hosts.end())
        return known->second;
    const bool local =
        engine::firstValue(server).compare(m_settings.localServer, Qt::CaseInsensitive) == 0;
    const auto limit = local ? m_settings.attemptLimit : m_settings.connectLimit;
    return m_hosts.try_emplace(name, Host{{m_settings, limit, m_interruption}}).first->second;
}

/// Throws Error where nothing is to be sent for this mailbox in this round.
void HttpOpener::takeTurn(const Attempt& attempt, Host& host) {
    const QString& user = attempt.mailbox.user;
    const bool first = m_first.remove(user), firstThere = host.first.remove(user);
    if (host.url == attempt.url && host.silence)
        throw describeNoAnswer(attempt, *host.silence, m_settings);
    if (host.url == attempt.url && host.client.isUnderWay())
        throw describeWait(attempt);
    QString reason;
    if (host.silence || host.client.isUnderWay()) {
        host.turnedAway.insert(user);
        reason = host.silence ? u"the server was not asked again after this: "_s +
                                    host.silence->description()
                              : u"the server has not answered the last request yet"_s;
    } else if (m_taken >= m_settings.roundLimit) {
        m_turnedAway.insert(user);
        reason =
            u"the others have taken %1 seconds"_s.arg(double(m_settings.roundLimit.count()) / 1000);
    } else if (!first && (!m_first.isEmpty() || (!firstThere && !host.first.isEmpty()))) {
        if (firstThere)
            host.turnedAway.insert(user);
        reason = u"those left over come first"_s;
    }
    if (!reason.isEmpty())
        throw describeFailure(attempt, u"not sent; "_s + reason, u"It is asked for again."_s);
}

/// As WebClient::await, and notes a silence.
std::optional<Answer> HttpOpener::await(Host& host, QDeadlineTimer deadline) const {
    try {
        return host.client.await(deadline);
    } catch (const NoAnswer& failure) {
        if (failure.kind() != NoAnswer::Kind::TooLong) {
            const bool kept = Clock::now() - host.asked >= m_settings.connectLimit / 2;
            host.silence = failure;
            host.silentUntil =
                QDeadlineTimer(kept ? m_settings.silenceLimit : std::chrono::milliseconds(0));
        }
        throw;
    }
}

} // namespace rehome::http
