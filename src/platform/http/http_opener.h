#pragma once

#include "platform/engine/mailbox_opener.h"
#include "platform/http/directory_only_opener.h"
#include "platform/http/failure.h"
#include "platform/http/web_service.h"

#include <QHash>
#include <QSet>

#include <chrono>
#include <map>
#include <optional>

namespace rehome::http {

/// Opens a mailbox where its server offers its folders over HTTP (WebDAV): asks for the location of
/// one of them. A round never lasts: an answer that takes long is taken in a later round, a
/// server that has given none is not asked again in it, nor for a while after it kept a round
/// waiting, and once the waits of a round have taken their time no more is sent. Whoever is turned
/// away for want of time comes before all others in the next round; whoever's server was silent,
/// only before those of that server, for it may stay so.
class HttpOpener final : public engine::MailboxOpener {
public:
    /// `directoryOnly` is handed the mailboxes of servers that offer no such service by what the
    /// directory shows, or no https by that and by refusing the connection. `interruption` ends the
    /// waits; both must outlive it.
    explicit HttpOpener(DirectoryOnlyOpener& directoryOnly, const HttpSettings& settings = {},
                        platform::Interruption* interruption = nullptr);

    void beginRound() noexcept override;
    QString open(engine::Session& directory, const engine::Mailbox& mailbox) override;

private:
    using Clock = std::chrono::steady_clock;

    struct Host {
        WebClient client;
        QString url{};   ///< what the last request was for
        QString store{}; ///< on which the mailbox was then
        Clock::time_point asked{};
        std::optional<NoAnswer> silence{}; ///< it is not asked, for that reason
        QDeadlineTimer silentUntil{};      ///< and the round that this is in is over
        QSet<QString> first{};             ///< users that come before all others of the host
        QSet<QString> turnedAway{};        ///< users that will in the next round
    };

    const WebService& serviceOf(engine::Session& directory, const QString& server);
    Host& hostOf(const QString& name, const QString& server);
    QString ask(const Attempt& attempt, Host& host);
    void takeTurn(const Attempt& attempt, Host& host);
    std::optional<Answer> await(Host& host, QDeadlineTimer deadline) const;

    DirectoryOnlyOpener& m_directoryOnly;
    HttpSettings m_settings;
    platform::Interruption* m_interruption;
    std::map<QString, Host> m_hosts;

    // What counts for a round.
    QHash<QString, WebService> m_services; ///< by the server's distinguished name
    QHash<QPair<QString, QString>, Answer>
        m_answers; ///< by URL and store; to requests of earlier rounds
    std::chrono::nanoseconds m_taken{};
    QSet<QString> m_first;      ///< users that come before all others
    QSet<QString> m_turnedAway; ///< users that will in the next round
};

} // namespace rehome::http
