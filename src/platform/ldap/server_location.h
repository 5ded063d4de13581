#pragma once

#include "platform/interruption.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <random>
#include <vector>

namespace rehome::ldap {

/// Has the C library wait for a name server for one second, twice, unless the user has set
/// RES_OPTIONS: the LDAP, SASL and Kerberos libraries look up this computer's own name and others,
/// one after the other. To be called before there is a second thread.
void limitNameLookups();

/// The LDAP URIs of the directory's servers by priority. As the client library is set (ldap.conf,
/// ldaprc, LDAPURI), each a priority of its own; else by the SRV records "_ldap._tcp.dc._msdcs."
/// and the domain, which is that of the user's Kerberos ticket, else this computer's. Throws Error
/// if neither names a server. All that is looked up has `limit`; reading the settings, which looks
/// up this computer's name, has three times as long.
QList<QStringList> locateServers(std::chrono::milliseconds limit,
                                 platform::Interruption* interruption);

/// The same for a program that only waits, as one list.
QStringList allServers();

/// A service record (RFC 2782).
struct ServiceRecord {
    QString target;
    int port = 0;
    int priority = 0;
    int weight = 0;
};

/// LDAP URIs by priority; within one priority by chance, weighted as RFC 2782 says.
QList<QStringList> inOrder(std::vector<ServiceRecord> records, std::mt19937& chance);

/// The servers of that domain, by its SRV records alone. Throws Error if these name none.
QList<QStringList> locateServersOf(const QString& domain);

} // namespace rehome::ldap
