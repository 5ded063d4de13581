#pragma once

#include "platform/engine/engine.h"

#include <QString>

namespace rehome::http {

/// What the directory tells of a server's service for mailboxes over HTTP.
struct WebService {
    QString host; ///< a name or IPv4 address; null where the service is withdrawn
    /// The SMTP domain to which the virtual directory "Exchange" joins the names in its paths
    /// (`msExchDefaultDomain`, its own or its virtual server's). Empty if the directory does not
    /// show it: Exchange then takes that of the default recipient policy.
    QString domain;
    /// The directory shows virtual servers, and no secure binding (`msExchSecureBindings`) of any.
    bool withoutHttps = false;
    /// True only where the directory shows it: the server's HTTP virtual servers
    /// (`protocolCfgHTTPServer`) can be seen, and no virtual directory
    /// (`msExchProtocolCfgHTTPVirtualDirectory`) below any. Where neither can be seen, the objects
    /// may just be hidden, and the service counts as offered.
    bool withdrawn = false;
};

/// Reads the server, given by distinguished name, and what is below it in one search. Throws Error
/// where that fails, or where `networkAddress` has no "ncacn_ip_tcp:" value with a host.
WebService webServiceOf(engine::Session& directory, const QString& server);

} // namespace rehome::http
