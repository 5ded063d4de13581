#include "platform/ldap/server_connection.h"

#include "platform/guid.h"
#include "platform/ldap/authentication.h"
#include "platform/ldap/tcp_check.h"
#include "platform/ldap/tls_check.h"

#include <ldap.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <thread>
#include <utility>
#include <vector>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;
using std::chrono::milliseconds;

namespace {

constexpr int GlobalCatalogue = 3268, GlobalCatalogueTls = 3269; // ports

/// How long to wait for more entries, because a server may write them one by one: waking up for
/// each cost 25 % CPU and 5 % of the time of a long list.
constexpr std::chrono::microseconds CoalesceDelay{50};

struct DescriptionFree {
    void operator()(LDAPControl* control) const { ldap_control_free(control); }
    void operator()(LDAPControl** controls) const { ldap_controls_free(controls); }
    void operator()(LDAPURLDesc* url) const { ldap_free_urldesc(url); }
};
using Control = std::unique_ptr<LDAPControl, DescriptionFree>;
using Controls = std::unique_ptr<LDAPControl*, DescriptionFree>;
using Url = std::unique_ptr<LDAPURLDesc, DescriptionFree>;

timeval toTimeval(milliseconds timeout) {
    return {timeout.count() / 1000, timeout.count() % 1000 * 1000};
}

/// Returns null if the URI names no host.
Url withHost(const QString& server) {
    LDAPURLDesc* parsed = nullptr;
    ldap_url_parse(server.toUtf8().constData(), &parsed);
    Url url(parsed);
    if (url && (qstricmp(url->lud_scheme, "ldapi") == 0 || qstrlen(url->lud_host) == 0))
        url.reset();
    return url;
}

/// Converts the DN of a request. Windows 2000 takes a GUID only as the 32 hexadecimal digits of its
/// bytes ([MS-ADTS] 3.1.1.3.1.2.4).
QByteArray nameToSend(const QString& name) {
    const QUuid guid(name.mid(6, 36));
    if (name.compare(u"<GUID=%1>"_s.arg(guid.toString(QUuid::WithoutBraces)),
                     Qt::CaseInsensitive) != 0)
        return toLdapString(name);
    return "<GUID=" + platform::octetsFromGuid(guid).toHex() + '>';
}

/// Returns the text of a notice of disconnection (RFC 4511 4.4.1); null for any other message.
QString disconnection(LDAP* handle, LDAPMessage* message) {
    char* identifier = nullptr;
    berval* data = nullptr;
    const int found = ldap_parse_extended_result(handle, message, &identifier, &data, 0);
    const LdapString owned(identifier);
    ber_bvfree(data);
    if (found != LDAP_SUCCESS || qstrcmp(identifier, LDAP_NOTICE_OF_DISCONNECTION) != 0)
        return {};
    int code = LDAP_SUCCESS;
    char* text = nullptr;
    ldap_parse_result(handle, message, &code, nullptr, &text, nullptr, nullptr, 0);
    return codeText(code) + u": "_s + QString::fromUtf8(LdapString(text).get()).trimmed();
}

} // namespace

ServerConnection::ServerConnection(const QString& server, const LdapSettings& settings,
                                   std::shared_ptr<Health> health, bool reconnecting)
    : m_server(server), m_settings(settings), m_health(std::move(health)),
      m_reconnecting(reconnecting) {
    LDAP* handle = nullptr;
    const int made = ldap_initialize(&handle, toLdapString(server).constData());
    m_handle.reset(handle);
    if (made != LDAP_SUCCESS)
        fail({Stage::Connect}, {made});

    const milliseconds timeout = shortened(settings.connectTimeout, Stage::Connect);
    const QDeadlineTimer connecting(timeout);
    m_socketLayer = std::make_unique<SocketLayer>(handle, timeout, settings.interruption);
    setOption(handle, LDAP_OPT_PROTOCOL_VERSION, LDAP_VERSION3);
    ldap_set_option(handle, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    ldap_set_option(handle, LDAP_OPT_RESTART, LDAP_OPT_ON);
    // With a reverse name look-up, an attacker who can forge its answer could choose the server to
    // trust. The Kerberos library may still make one, unless krb5.conf forbids it.
    ldap_set_option(handle, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
    // Otherwise a firewall that drops idle connections makes the next request time out.
    setOption(handle, LDAP_OPT_X_KEEPALIVE_IDLE, 120); // seconds
    setOption(handle, LDAP_OPT_X_KEEPALIVE_INTERVAL, 15);
    setOption(handle, LDAP_OPT_X_KEEPALIVE_PROBES, 4);
    // Limits in ldap.conf are meant for other programs and would truncate lists.
    setOption(handle, LDAP_OPT_TIMELIMIT, LDAP_NO_LIMIT);
    setOption(handle, LDAP_OPT_DEREF, LDAP_DEREF_NEVER);
    const bool tls = wantsTls(server);
    if (tls && !demandCertificate(handle))
        fail({Stage::Connect},
             {.code = LDAP_CONNECT_ERROR,
              .diagnostic = unreadableTlsFiles(),
              .cause = u"The TLS settings of ldap.conf cannot be used: correct them."_s});
    checkReachable(connecting, timeout);
    const timeval libraryTimeout =
        toTimeval(std::max(milliseconds(connecting.remainingTime()), milliseconds(100)));
    ldap_set_option(handle, LDAP_OPT_NETWORK_TIMEOUT, &libraryTimeout);
    ldap_set_option(handle, LDAP_OPT_TIMEOUT, &libraryTimeout);
    const int connected = ldap_connect(handle);
    const QString remark = diagnosticMessage(handle);
    if (m_socketLayer->timedOut() || (connected != LDAP_SUCCESS && connecting.hasExpired()))
        failTimedOut({Stage::Connect}, timeout);
    // If the URI leaves StartTLS optional, libldap continues in cleartext.
    if (tls && (connected != LDAP_SUCCESS || ldap_tls_inplace(handle) == 0))
        failTls(remark, connecting);
    if (connected != LDAP_SUCCESS)
        fail({Stage::Connect}, {connected, remark});
    const bool local = server.startsWith(u"ldapi:"_s, Qt::CaseInsensitive);
    const Result authenticated = authenticate(handle, local, [&](int request) {
        return await(request, Wait::ForAll, settings.connectTimeout, {Stage::Authenticate});
    });
    if (authenticated.code != LDAP_SUCCESS)
        fail({Stage::Authenticate}, authenticated);
    m_socketLayer->setTimeout(shortened(settings.responseTimeout, Stage::Authenticate));
}

/// libldap resolves names and connects without our time-outs and cannot be interrupted, so this
/// finds out beforehand whether one of the addresses responds.
void ServerConnection::checkReachable(QDeadlineTimer deadline, milliseconds timeout) {
    const Url url = withHost(m_server);
    if (!url)
        return;
    if (url->lud_port == GlobalCatalogue || url->lud_port == GlobalCatalogueTls)
        fail({Stage::Choose},
             {.code = LDAP_NOT_SUPPORTED,
              .cause = u"port %1 is that of a global catalogue, which lists mailboxes and refuses "
                       "every move. Name the domain controller without a port in ldap.conf"_s.arg(
                           url->lud_port)});
    try {
        checkTcpPort(QString::fromUtf8(url->lud_host), quint16(url->lud_port), deadline,
                     m_settings.interruption);
    } catch (const Error& error) {
        if (deadline.hasExpired())
            failTimedOut({Stage::Connect}, timeout);
        fail({Stage::Connect}, {LDAP_SERVER_DOWN, error.description()});
    }
}

void ServerConnection::failTls(const QString& remark, QDeadlineTimer deadline) {
    Result result{LDAP_CONNECT_ERROR, remark};
    if (const Url url = withHost(m_server))
        result.cause =
            tlsFaults(QString::fromUtf8(url->lud_host), quint16(url->lud_port),
                      qstricmp(url->lud_scheme, "ldaps") != 0, deadline, m_settings.interruption);
    fail({Stage::Connect}, result);
}

void ServerConnection::activate(const LdapSettings& settings, std::shared_ptr<Health> health,
                                bool supportsPaging) {
    m_settings = settings;
    m_health = std::move(health);
    m_supportsPaging = supportsPaging;
    m_socketLayer->setInterruption(settings.interruption);
    m_socketLayer->setTimeout(settings.responseTimeout);
    noteResponse();
}

std::shared_ptr<const void> ServerConnection::beginPaging() {
    const auto paging = std::make_shared<char>();
    m_paging = paging;
    return paging;
}

bool ServerConnection::isUsable() const {
    int descriptor = -1;
    if (m_lost || m_health->hasTimedOutSince(m_timeoutsSeen) ||
        ldap_get_option(m_handle.get(), LDAP_OPT_DESC, &descriptor) != LDAP_OPT_SUCCESS ||
        descriptor < 0)
        return false;
    pollfd state{descriptor, POLLRDHUP, 0};
    return poll(&state, 1, 0) == 0;
}

int ServerConnection::sendSearch(const engine::SearchRequest& request, int pageSize,
                                 const QByteArray& cookie) {
    const Attempt attempt{Stage::Search, request.base};
    std::vector<QByteArray> names;
    for (const QString& name : request.attributes)
        names.push_back(toLdapString(name));
    std::vector<char*> attributes;
    for (QByteArray& name : names)
        attributes.push_back(name.data());
    attributes.push_back(nullptr);

    Control page;
    if (pageSize > 0) {
        berval from{ber_len_t(cookie.size()), const_cast<char*>(cookie.constData())};
        LDAPControl* control = nullptr;
        const int made = ldap_create_page_control(m_handle.get(), pageSize, &from, 1, &control);
        page.reset(control);
        if (made != LDAP_SUCCESS)
            fail(attempt, {made});
    }
    std::array<LDAPControl*, 2> controls{page.get(), nullptr};
    const int scope = request.scope == engine::Scope::Base       ? LDAP_SCOPE_BASE
                      : request.scope == engine::Scope::OneLevel ? LDAP_SCOPE_ONELEVEL
                                                                 : LDAP_SCOPE_SUBTREE;
    int number = 0;
    const int code = ldap_search_ext(m_handle.get(), nameToSend(request.base).constData(), scope,
                                     toLdapString(request.filter).constData(),
                                     names.empty() ? nullptr : attributes.data(), 0,
                                     controls.data(), nullptr, nullptr, LDAP_NO_LIMIT, &number);
    if (code == LDAP_FILTER_ERROR)
        fail({Stage::Search, u"%1 with the filter \"%2\""_s.arg(request.base, request.filter)},
             {code});
    return checkSent(code, number, attempt);
}

int ServerConnection::sendModify(const QString& name, const QList<engine::Change>& changes) {
    struct Modification {
        QByteArray type;
        std::vector<berval> values;
        std::vector<berval*> list;
        LDAPMod mod{};
    };
    std::vector<Modification> owned(size_t(changes.size()));
    std::vector<LDAPMod*> modifications;
    for (size_t i = 0; i < owned.size(); ++i) {
        const auto& [attribute, values, kind] = changes.at(qsizetype(i));
        auto& [type, copies, list, mod] = owned[i];
        type = toLdapString(attribute);
        for (const QByteArray& value : values)
            copies.push_back({ber_len_t(value.size()), const_cast<char*>(value.constData())});
        for (berval& value : copies)
            list.push_back(&value);
        list.push_back(nullptr);
        using Kind = engine::Change::Kind;
        mod.mod_op = LDAP_MOD_BVALUES | (kind == Kind::Add      ? LDAP_MOD_ADD
                                         : kind == Kind::Delete ? LDAP_MOD_DELETE
                                                                : LDAP_MOD_REPLACE);
        mod.mod_type = type.data();
        mod.mod_bvalues = list.data();
        modifications.push_back(&mod);
    }
    modifications.push_back(nullptr);
    int number = 0;
    const int code = ldap_modify_ext(m_handle.get(), nameToSend(name).constData(),
                                     modifications.data(), nullptr, nullptr, &number);
    return checkSent(code, number, {Stage::Modify, name});
}

int ServerConnection::checkSent(int code, int request, const Attempt& attempt) {
    if (code == LDAP_SUCCESS)
        return request;
    if (m_socketLayer->timedOut())
        failTimedOut(attempt, m_settings.responseTimeout);
    m_lost = m_lost || code == LDAP_SERVER_DOWN;
    Result result{code, code == LDAP_SERVER_DOWN ? QString() : diagnosticMessage(m_handle.get())};
    result.sent = false; // the library reports success once the last byte is written
    fail(attempt, result);
}

Message ServerConnection::receive(int request, Wait wait, const Attempt& attempt) {
    return await(request, wait, m_settings.responseTimeout, attempt);
}

Message ServerConnection::await(int request, Wait wait, milliseconds timeout,
                                const Attempt& attempt) {
    if (m_reset)
        fail(attempt, {LDAP_SERVER_DOWN});
    LDAP* handle = m_handle.get();
    Sockbuf* buffer = nullptr;
    ldap_get_option(handle, LDAP_OPT_SOCKBUF, &buffer);
    const QDeadlineTimer deadline(shortened(timeout, attempt.stage));
    Message message;
    QString notice;
    int type = 0;
    bool mayCoalesce = wait == Wait::ForBatch;
    const auto coalesce = [&] {
        if (mayCoalesce)
            std::this_thread::sleep_for(CoalesceDelay);
        return std::exchange(mayCoalesce, false);
    };
    const auto take = [&](int number, int all) {
        timeval now{};
        LDAPMessage* received = nullptr;
        const int taken = ldap_result(handle, number, all, &now, &received);
        message.reset(received);
        return taken;
    };
    do { // our own wait, because ldap_result() cannot be interrupted
        // libldap shows the text of a notice of disconnection only if it is asked for unsolicited
        // messages. A search is sent again instead.
        if (attempt.stage == Stage::Modify && take(LDAP_RES_UNSOLICITED, LDAP_MSG_ONE) > 0)
            notice = disconnection(handle, message.get());
        type = take(request, wait == Wait::ForAll ? LDAP_MSG_ALL : LDAP_MSG_RECEIVED);
        // ldap_result() with a zero time-out can buffer data and still return 0, so the buffer is
        // checked before waiting.
    } while (type == 0 && notice.isEmpty() &&
             (ber_sockbuf_ctrl(buffer, LBER_SB_OPT_DATA_READY, nullptr) > 0 ||
              m_socketLayer->takeAnyRead() || coalesce() ||
              m_socketLayer->awaitReadable(milliseconds(deadline.remainingTime()))));
    if (type > 0) {
        if (attempt.stage == Stage::Search)
            noteResponse();
        return message;
    }
    if (m_socketLayer->timedOut())
        failTimedOut(attempt, timeout);
    m_lost = true;
    if (!notice.isEmpty())
        fail(attempt, {LDAP_SERVER_DOWN, notice});
    // libldap returns the code of a notice of disconnection as if it were the result of the
    // request. But the server may have carried the request out.
    int code = LDAP_SERVER_DOWN;
    ldap_get_option(handle, LDAP_OPT_RESULT_CODE, &code);
    fail(attempt, {std::min(code, LDAP_SERVER_DOWN),
                   code > 0 ? codeText(code) : diagnosticMessage(m_handle.get())});
}

milliseconds ServerConnection::shortened(milliseconds timeout, Stage stage) const {
    const bool search = stage == Stage::Search && !m_health->responds();
    return m_reconnecting || search ? std::min(timeout, m_settings.shortTimeout) : timeout;
}

void ServerConnection::noteResponse() {
    m_timeoutsSeen = m_health->noteResponse();
    if (std::exchange(m_reconnecting, false))
        m_socketLayer->setTimeout(m_settings.responseTimeout);
}

void ServerConnection::failTimedOut(Attempt attempt, milliseconds timeout) {
    attempt.timeout = shortened(timeout, attempt.stage);
    m_lost = true;
    m_health->noteTimeout(m_reconnecting, m_settings.fullTimeoutInterval);
    fail(attempt, {LDAP_TIMEOUT});
}

QByteArray ServerConnection::checkResult(LDAPMessage* message, const Attempt& attempt) {
    int code = LDAP_SUCCESS;
    char* text = nullptr;
    char** addresses = nullptr;
    LDAPControl** list = nullptr;
    const int parsed =
        ldap_parse_result(m_handle.get(), message, &code, nullptr, &text, &addresses, &list, 0);
    const LdapString ownedText(text);
    const LdapStrings ownedAddresses(addresses);
    const Controls ownedList(list);
    m_lost = m_lost || parsed != LDAP_SUCCESS;
    if (parsed != LDAP_SUCCESS)
        fail(attempt, {parsed});
    Result result{code, QString::fromUtf8(text).trimmed()};
    for (char** address = addresses; address && *address; ++address)
        result.referrals += QString::fromUtf8(*address);
    // AD answers "unavailable" after the Kerberos ticket of the connection has expired.
    m_lost = m_lost || code == LDAP_UNAVAILABLE;
    if (code != LDAP_SUCCESS)
        fail(attempt, result);
    LDAPControl* page = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, list, nullptr);
    berval next{};
    ber_int_t estimate = 0;
    if (!page)
        return {};
    if (ldap_parse_pageresponse_control(m_handle.get(), page, &estimate, &next) != LDAP_SUCCESS)
        fail(attempt, {LDAP_DECODING_ERROR, u"it does not tell whether there is another page"_s});
    const LdapString owned(next.bv_val);
    return QByteArray(next.bv_val, qsizetype(next.bv_len));
}

void ServerConnection::finish(int request, const Attempt& attempt) {
    checkResult(receive(request, Wait::ForAll, attempt).get(), attempt);
}

void ServerConnection::abandon(int request) noexcept {
    if (!m_lost)
        ldap_abandon_ext(m_handle.get(), request, nullptr, nullptr);
}

void ServerConnection::reset() noexcept {
    int descriptor = -1;
    ldap_get_option(m_handle.get(), LDAP_OPT_DESC, &descriptor);
    // After close(2), the kernel would still deliver what it holds when the server comes back.
    // Dissolving the connection (connect(2) with AF_UNSPEC) resets it at once.
    const sockaddr none{AF_UNSPEC, {}};
    if (descriptor >= 0)
        static_cast<void>(::connect(descriptor, &none, sizeof none));
    m_lost = m_reset = true;
}

void ServerConnection::fail(Attempt attempt, const Result& result) const {
    attempt.server = m_server;
    throw describeResult(attempt, result);
}

} // namespace rehome::ldap
