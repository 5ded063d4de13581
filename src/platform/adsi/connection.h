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
    /// Throws Error where the provider is unknown, credentials are given, or no session can be
    /// made.
    void Open(const QString& connectionText, const QString& userName, const QString& password,
              int options);
    /// Runs one search given as "<LDAP://base>;filter;attributes;scope" and waits for its first
    /// record. Throws Error where the connection is not open, the text cannot be taken apart, or
    /// the search is refused.
    std::unique_ptr<RecordSet> Execute(const QString& commandText, int options);
    void Close();

private:
    void requireOpen() const;

    engine::Engine& m_engine;
    QString m_provider;
    std::shared_ptr<ConnectionSession> m_connection = std::make_shared<ConnectionSession>();
};

} // namespace rehome::adsi
