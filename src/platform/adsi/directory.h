#pragma once

#include "platform/directory_services.h"
#include "platform/engine/engine.h"
#include "platform/journal.h"

#include <memory>

namespace rehome::adsi {

/// The directory services over an engine. Bindings share one session, opened by the first of them;
/// each connection has its own.
class Directory final : public platform::DirectoryServices {
public:
    /// Both must outlive this and everything that it made.
    Directory(engine::Engine& engine, platform::Journal& journal)
        : m_engine(engine), m_journal(journal) {}

    std::unique_ptr<platform::IADs> BindObject(const QString& path) override;
    std::unique_ptr<platform::IADsUser>
    BindUser(const QString& path, platform::Purpose purpose = platform::Purpose::Read) override;
    std::unique_ptr<platform::Connection> CreateConnection() override;

    /// The session of the bindings. Throws Error where none can be made.
    std::shared_ptr<engine::Session> session();

private:
    engine::Engine& m_engine;
    platform::Journal& m_journal;
    std::shared_ptr<engine::Session> m_session;
};

} // namespace rehome::adsi
