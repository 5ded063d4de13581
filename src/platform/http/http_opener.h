#pragma once

#include "platform/engine/mailbox_opener.h"
#include "platform/http/failure.h"
#include "platform/http/web_service.h"

#include <QHash>
#include <QSet>

#include <chrono>

namespace rehome::http {

/// Opens a mailbox where its server offers its folders over HTTP (WebDAV): asks for the location of
/// its contacts folder. A round never lasts: a server that has given no answer is not asked again
/// in it, and once its attempts have taken their time no more are sent. Whoever is turned away for
/// want of time comes before all others in the next round; whoever's server was silent, only before
/// those of that server, for it may stay so.
class HttpOpener final : public engine::MailboxOpener {
public:
    /// `directoryOnly` is handed the mailboxes of servers that the directory shows to offer no such
    /// service, `interruption` ends the waits; both must outlive it.
    explicit HttpOpener(engine::MailboxOpener& directoryOnly, const HttpSettings& settings = {},
                        platform::Interruption* interruption = nullptr);

    void beginRound() noexcept override;
    QString open(engine::Session& directory, const engine::Mailbox& mailbox) override;

private:
    const WebService& serviceOf(engine::Session& directory, const QString& server);
    void takeTurn(const Attempt& attempt);
    QString ask(const Attempt& attempt);

    engine::MailboxOpener& m_directoryOnly;
    HttpSettings m_settings;
    WebClient m_client;

    // What counts for a round.
    QHash<QString, WebService> m_services; ///< by the server's distinguished name
    QHash<QString, QString> m_silent;      ///< hosts, and what was found instead of an answer
    std::chrono::nanoseconds m_taken{};
    QSet<QString> m_first;                      ///< users that come before all others
    QSet<QString> m_turnedAway;                 ///< users that will in the next round
    QHash<QString, QSet<QString>> m_firstThere; ///< likewise, before all of their host
    QHash<QString, QSet<QString>> m_turnedAwayThere;
};

} // namespace rehome::http
