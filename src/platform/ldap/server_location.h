#pragma once

#include <QString>
#include <QStringList>

#include <random>
#include <vector>

namespace rehome::ldap {

/// The LDAP URIs of the directory's servers by priority. As the client library is set (ldap.conf,
/// ldaprc, LDAPURI), each a priority of its own; else by the SRV records "_ldap._tcp.dc._msdcs."
/// and the domain, which is that of the user's Kerberos ticket, else this computer's. Throws Error
/// where neither names a server.
QList<QStringList> locateServers();

/// A service record (RFC 2782).
struct ServiceRecord {
    QString target;
    int port = 0;
    int priority = 0;
    int weight = 0;
};

/// LDAP URIs by priority; within one priority by chance, weighted as RFC 2782 says.
QList<QStringList> inOrder(std::vector<ServiceRecord> records, std::mt19937& chance);

} // namespace rehome::ldap
