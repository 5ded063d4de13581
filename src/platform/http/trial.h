#pragma once

#include "platform/engine/engine.h"
#include "platform/http/http_settings.h"

namespace rehome::http {

/// Asks a server, given by distinguished name, for a mailbox that nobody has, and returns what
/// there is to know about opening its mailboxes; empty if nothing is. Throws Error if none will
/// open: the server gives no answer, no secure connection can be made, it does not let us sign on,
/// or it blocks the request. Blocks for at most two attempts' time.
QString tryServer(engine::Session& directory, const QString& server,
                  const HttpSettings& settings = {});

} // namespace rehome::http
