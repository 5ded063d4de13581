#pragma once

#include "platform/adsi/record_set.h"

namespace rehome::adsi {

/// The options value that leaves a call's options unspecified.
inline constexpr int UnspecifiedOptions = -1;

/// A directory connection, with a session of its own.
class Connection {
public:
    /// `engine` must outlive it.
    explicit Connection(engine::Engine& engine) : m_engine(engine) {}

    void setProvider(const QString& provider) { m_provider = provider; }
    /// Opens a session; blocks, and may end the process. `options`: UnspecifiedOptions only; name
    /// and password must be empty. Throws Error if the provider or an argument is another, the
    /// connection is open, or no session can be opened.
    void Open(const QString& connectionText, const QString& userName, const QString& password,
              int options);
    /// Runs a search (see parseCommandText()) and waits for its first record; may end the process.
    /// Throws Error if the connection is closed, the text is invalid, or the search fails.
    std::unique_ptr<RecordSet> Execute(const QString& commandText, int options);
    /// Ends the session; its record sets cannot be read any more. Throws Error if it is closed.
    void Close();

private:
    void requireOpen() const;

    engine::Engine& m_engine;
    QString m_provider;
    std::shared_ptr<ConnectionSession> m_connection = std::make_shared<ConnectionSession>();
};

} // namespace rehome::adsi
