#pragma once

#include "platform/embedded/organisation.h"
#include "platform/engine/mailbox_opener.h"

#include <QHash>

#include <chrono>

namespace rehome::embedded {

/// Opens a mailbox once it has been asked for as long as the rehearsal's attributes of its user
/// say. The organisation must outlive it.
class EmbeddedOpener final : public engine::MailboxOpener {
public:
    explicit EmbeddedOpener(const Organisation& organisation) : m_organisation(organisation) {}

    void beginRound() noexcept override {}
    QString open(engine::Session& directory, const engine::Mailbox& mailbox) override;

private:
    struct Attempt {
        int creation = 0; ///< which of the user's mailboxes was tried
        std::chrono::steady_clock::time_point first;
    };

    const Organisation& m_organisation;
    QHash<QString, Attempt> m_attempts; ///< by the user's distinguished name
};

} // namespace rehome::embedded
