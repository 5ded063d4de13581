#include "platform/http/http_opener.h"

#include "platform/http/multistatus.h"

#include <QScopeGuard>
#include <QUrl>

#include <utility>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString HttpMail = u"urn:schemas:httpmail:"_s;
const QString Contacts = u"contacts"_s;

const QByteArray Question = "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
                            "<D:propfind xmlns:D=\"DAV:\" xmlns:m=\"urn:schemas:httpmail:\">"
                            "<D:prop><m:contacts/></D:prop></D:propfind>";

QString mailboxUrl(const QString& host, const QString& name) {
    return u"https://"_s + host + u"/exchange/"_s +
           QString::fromLatin1(QUrl::toPercentEncoding(name)) + u'/';
}

} // namespace

HttpOpener::HttpOpener(engine::MailboxOpener& directoryOnly, const HttpSettings& settings,
                       platform::Interruption* interruption)
    : m_directoryOnly(directoryOnly), m_settings(settings), m_client(settings, interruption) {
}

void HttpOpener::beginRound() noexcept {
    m_services.clear();
    m_silent.clear();
    m_taken = {};
    m_first = std::exchange(m_turnedAway, {});
    m_firstThere = std::exchange(m_turnedAwayThere, {});
    m_directoryOnly.beginRound();
}

QString HttpOpener::open(engine::Session& directory, const engine::Mailbox& mailbox) {
    const WebService& service = serviceOf(directory, mailbox.server);
    if (service.withdrawn)
        return m_directoryOnly.open(directory, mailbox);
    const Attempt attempt{mailbox, service.host, mailboxUrl(service.host, mailbox.name)};
    if (mailbox.name.isEmpty() || mailbox.name == "."_L1 || mailbox.name == ".."_L1)
        throw describeFailure(attempt, u"\"%1\" names no mailbox in a path"_s.arg(mailbox.name),
                              u"Give the user an alias that is also an address."_s);
    takeTurn(attempt);
    return ask(attempt);
}

const WebService& HttpOpener::serviceOf(engine::Session& directory, const QString& server) {
    auto known = m_services.find(server);
    if (known == m_services.end())
        known = m_services.insert(server, webServiceOf(directory, server));
    return *known;
}

/// Throws Error where nothing is to be sent for this mailbox in this round.
void HttpOpener::takeTurn(const Attempt& attempt) {
    const QString& user = attempt.mailbox.user;
    QSet<QString>& there = m_firstThere[attempt.host];
    const bool first = m_first.remove(user), firstThere = there.remove(user);
    QString reason;
    if (m_silent.contains(attempt.host)) {
        m_turnedAwayThere[attempt.host].insert(user);
        reason = u"the server was not asked again after this: "_s + m_silent.value(attempt.host);
    } else if (m_taken >= m_settings.roundLimit) {
        m_turnedAway.insert(user);
        reason =
            u"the others have taken %1 seconds"_s.arg(double(m_settings.roundLimit.count()) / 1000);
    } else if (!first && (!m_first.isEmpty() || (!firstThere && !there.isEmpty()))) {
        if (firstThere)
            m_turnedAwayThere[attempt.host].insert(user);
        reason = u"those left over come first"_s;
    }
    if (!reason.isEmpty())
        throw describeFailure(attempt, u"not sent; "_s + reason, u"It is asked for again."_s);
}

QString HttpOpener::ask(const Attempt& attempt) {
    const auto begin = std::chrono::steady_clock::now();
    const auto takes = qScopeGuard([&] { m_taken += std::chrono::steady_clock::now() - begin; });
    Answer answer;
    try {
        answer = m_client.propfind(attempt.url.toLatin1(), Question);
    } catch (const NoAnswer& failure) {
        if (failure.kind() != NoAnswer::Kind::TooLong)
            m_silent.insert(attempt.host, failure.description());
        throw describeNoAnswer(attempt, failure, m_settings);
    }
    if (answer.status != 207)
        throw describeStatus(attempt, answer.status, answer.redirect);
    Property contacts;
    try {
        contacts = readProperty(answer.body, HttpMail, Contacts);
    } catch (const Error& error) {
        throw describeFailure(attempt, error.description());
    }
    if (contacts.status == 200 && !contacts.text.isEmpty())
        return contacts.text;
    if (contacts.status != 200 && contacts.status != 0)
        throw describeStatus(attempt, contacts.status);
    throw describeFailure(attempt, u"its answer names no contacts folder"_s);
}

} // namespace rehome::http
