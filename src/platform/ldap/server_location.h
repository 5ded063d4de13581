#pragma once

#include "platform/interruption.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <random>
#include <vector>

namespace rehome::ldap {

/// Makes the C library try each name server twice for 1 s, unless the user has set "attempts" or
/// "timeout" in RES_OPTIONS: the LDAP, SASL and Kerberos libraries look up this computer's own name
/// and others, one after the other. One try would be faster, but a lost packet would then show a
/// running Exchange server as unreachable. To be called before the first thread is started.
void limitNameLookups();

/// Returns the LDAP URIs of the directory's domain controllers by priority: those of ldap.conf,
/// ldaprc or LDAPURI, each a priority of its own; otherwise those of the SRV records
/// "_ldap._tcp.dc._msdcs." and the domain of the user's Kerberos ticket, or of this computer.
/// Blocks for up to `timeout` for all look-ups; reading the settings, which looks up this
/// computer's name, may take three times as long. May end the process. Throws Error if no server is
/// found or the settings cannot be read in time.
QList<QStringList> locateServers(std::chrono::milliseconds timeout,
                                 platform::Interruption* interruption);

/// Returns the same as one list, with a time-out of 10 s.
QStringList allServers();

/// A service record (RFC 2782).
struct ServiceRecord {
    QString target; ///< a host; not empty
    int port = 0;   ///< 0 to 65535, as the others
    int priority = 0;
    int weight = 0;
};

/// Returns LDAP URIs by priority; within one priority in random order, weighted as RFC 2782 says.
QList<QStringList> orderBySrvRules(std::vector<ServiceRecord> records, std::mt19937& random);

/// Returns the domain controllers of that domain, by its SRV records alone. Blocks as long as the C
/// library does. Throws Error if the records name none.
QList<QStringList> locateServersOf(const QString& domain);

} // namespace rehome::ldap
