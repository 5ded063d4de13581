#include "platform/ldap/server_location.h"

#include "platform/blocking_call.h"
#include "platform/error.h"
#include "platform/ldap/ldap_library.h"
#include "platform/ldap/ticket.h"

#include <QSysInfo>

#include <arpa/nameser.h>
#include <ldap.h>
#include <netdb.h>
#include <resolv.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

struct Resolver {
    struct __res_state state {};
    const bool ready;
    Resolver() : ready(res_ninit(&state) == 0) {}
    ~Resolver() { res_nclose(&state); }
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;
};

/// Returns the URIs that libldap is set to; empty if only its built-in default applies. The default
/// is recognised by its exact text, which a user would not write.
QStringList configuredServers() {
    const QString uris = QString::fromUtf8(stringOption(nullptr, LDAP_OPT_URI));
    return uris == u"ldap://localhost:389/??base"_s ? QStringList()
                                                    : uris.split(u' ', Qt::SkipEmptyParts);
}

QString hostDomain() {
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    addrinfo* found = nullptr;
    const QString host = QSysInfo::machineHostName();
    getaddrinfo(host.toUtf8().constData(), nullptr, &hints, &found);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(found, freeaddrinfo);
    const QString full =
        found && found->ai_canonname ? QString::fromUtf8(found->ai_canonname) : host;
    return full.section(u'.', 1);
}

QStringList searchedDomains() {
    const Resolver resolver;
    QStringList domains;
    for (size_t i = 0; resolver.ready && i < MAXDNSRCH && resolver.state.dnsrch[i]; ++i)
        domains += QString::fromUtf8(resolver.state.dnsrch[i]);
    return domains;
}

std::vector<ServiceRecord> lookUp(const QString& domain) {
    Resolver resolver;
    if (!resolver.ready)
        return {};
    const QByteArray name = u"_ldap._tcp.dc._msdcs.%1"_s.arg(domain).toUtf8();
    std::vector<unsigned char> message(NS_MAXMSG);
    const int length = res_nquery(&resolver.state, name.constData(), ns_c_in, ns_t_srv,
                                  message.data(), int(message.size()));
    std::vector<ServiceRecord> records;
    ns_msg parsed;
    if (length < 0 || ns_initparse(message.data(), length, &parsed) != 0)
        return records;
    for (int i = 0; i < ns_msg_count(parsed, ns_s_an); ++i) {
        ns_rr record;
        if (ns_parserr(&parsed, ns_s_an, i, &record) != 0 || ns_rr_type(record) != ns_t_srv ||
            ns_rr_rdlen(record) < 7)
            continue;
        const unsigned char* data = ns_rr_rdata(record);
        std::array<char, NS_MAXDNAME> target{};
        if (ns_name_uncompress(ns_msg_base(parsed), ns_msg_end(parsed), data + 6, target.data(),
                               target.size()) < 0 ||
            target.at(0) == '\0' || qstrcmp(target.data(), ".") == 0)
            continue;
        records.push_back({QString::fromUtf8(target.data()), int(ns_get16(data + 4)),
                           int(ns_get16(data)), int(ns_get16(data + 2))});
    }
    return records;
}

} // namespace

void limitNameLookups() {
    QByteArray options = qgetenv("RES_OPTIONS");
    for (const QByteArray option : {"timeout:1", "attempts:2"})
        if (!options.contains(option.chopped(1)))
            options += ' ' + option;
    qputenv("RES_OPTIONS", options);
}

QList<QStringList> orderBySrvRules(std::vector<ServiceRecord> records, std::mt19937& random) {
    QList<QStringList> servers;
    std::optional<int> before;
    while (!records.empty()) {
        const int first =
            std::min_element(records.begin(), records.end(), [](const auto& a, const auto& b) {
                return a.priority < b.priority;
            })->priority;
        if (std::exchange(before, first) != first)
            servers.emplace_back();
        std::vector<double> weights; // RFC 2782: a weight of 0 is a very small chance
        for (const auto& record : records)
            weights.push_back(record.priority != first ? 0 : std::max(double(record.weight), 0.01));
        std::discrete_distribution<std::ptrdiff_t> draw(weights.begin(), weights.end());
        const auto drawn = records.begin() + draw(random);
        servers.last() += drawn->port == LDAP_PORT
                              ? u"ldap://"_s + drawn->target
                              : u"ldap://%1:%2"_s.arg(drawn->target, QString::number(drawn->port));
        records.erase(drawn);
    }
    return servers;
}

QList<QStringList> locateServers(std::chrono::milliseconds timeout,
                                 platform::Interruption* interruption) {
    QList<QStringList> servers;
    const auto configured = platform::BlockingCall<QStringList>(configuredServers)
                                .await(QDeadlineTimer(3 * timeout), interruption);
    if (!configured) // not to be taken for settings that name no server
        throw Error(u"The LDAP settings of this computer could not be read within %1 seconds: its "
                    "name servers do not respond. Add a line with this computer's address and its "
                    "name, %2, to /etc/hosts."_s.arg(double(3 * timeout.count()) / 1000)
                        .arg(QSysInfo::machineHostName()));
    for (const QString& server : *configured)
        servers.append({server});
    if (!servers.isEmpty())
        return servers;

    const QDeadlineTimer deadline(timeout);
    const auto inTime = [&](auto call) {
        using Found = decltype(call());
        return platform::BlockingCall<Found>(std::move(call))
            .await(deadline, interruption)
            .value_or(Found());
    };
    std::mt19937 random{std::random_device{}()};
    QStringList domains;
    const auto ask = [&](const QString& name) {
        const QString domain = name.toLower();
        if (!servers.isEmpty() || domain.isEmpty() || domains.contains(domain))
            return;
        domains += domain;
        servers = orderBySrvRules(inTime([domain] { return lookUp(domain); }), random);
    };
    ask(inTime(currentTicket).realm);
    if (servers.isEmpty())
        ask(inTime(hostDomain)); // which may itself have to be looked up
    for (const QString& domain : inTime(searchedDomains))
        ask(domain);
    if (!servers.isEmpty())
        return servers;
    throw Error(
        (domains.isEmpty()
             ? u"No directory server was found: this computer has no domain."_s
             : u"No directory server was found for the domain %1."_s.arg(domains.join(u" or "_s))) +
        u" Name one with URI in ldap.conf, have the domain's name servers asked (resolv.conf), or "
        "sign on to the domain first (kinit)."_s);
}

QStringList allServers() {
    QStringList all;
    for (const QStringList& servers : locateServers(std::chrono::seconds(10), nullptr))
        all += servers;
    return all;
}

QList<QStringList> locateServersOf(const QString& domain) {
    std::mt19937 random{std::random_device{}()};
    const QList<QStringList> servers = orderBySrvRules(lookUp(domain), random);
    if (servers.isEmpty())
        throw Error(u"No domain controller of %1 was found. Have the domain's name servers asked "
                    "(resolv.conf)."_s.arg(domain));
    return servers;
}

} // namespace rehome::ldap
