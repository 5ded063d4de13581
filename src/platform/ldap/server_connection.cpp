#include "platform/ldap/server_connection.h"

#include "platform/guid.h"
#include "platform/ldap/tcp_check.h"
#include "platform/ldap/tls_check.h"

#include <QFileInfo>

#include <ldap.h>
#include <poll.h>
#include <sasl/sasl.h>
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

/// What the SASL layer must at least seal with where TLS does not: above 1, which only signs, and
/// no more than the weakest cipher that Kerberos still has.
constexpr ber_len_t LeastStrength = 56;

/// All properties of the SASL layer, so that SASL_SECPROPS of ldap.conf can neither weaken nor
/// break it. A domain controller refuses to encrypt twice.
constexpr char WithinTls[] = "noanonymous,noplain,minssf=0,maxssf=0,maxbufsize=65536";
constexpr char WithoutTls[] = "noanonymous,noplain,minssf=56,maxssf=65535,maxbufsize=65536";

/// A server that writes entry by entry would have to wake us for each: a quarter of our processor
/// time, and a twentieth of what a long list takes.
constexpr std::chrono::microseconds Gathering{50};

struct LibraryFree {
    void operator()(char* text) const { ldap_memfree(text); }
    void operator()(char** texts) const { ldap_memvfree(reinterpret_cast<void**>(texts)); }
    void operator()(LDAPControl* control) const { ldap_control_free(control); }
    void operator()(LDAPControl** controls) const { ldap_controls_free(controls); }
    void operator()(LDAPURLDesc* url) const { ldap_free_urldesc(url); }
};
using Text = std::unique_ptr<char, LibraryFree>;
using Texts = std::unique_ptr<char*, LibraryFree>;
using Control = std::unique_ptr<LDAPControl, LibraryFree>;
using Controls = std::unique_ptr<LDAPControl*, LibraryFree>;

timeval toTimeval(milliseconds limit) {
    return {limit.count() / 1000, limit.count() % 1000 * 1000};
}

QByteArray textOption(LDAP* handle, int option) {
    char* value = nullptr;
    ldap_get_option(handle, option, &value);
    return QByteArray(Text(value).get());
}

void setOption(LDAP* handle, int option, int value) {
    ldap_set_option(handle, option, &value);
}

using Url = std::unique_ptr<LDAPURLDesc, LibraryFree>;

/// Null if the URI names no host.
Url withHost(const QString& server) {
    LDAPURLDesc* parsed = nullptr;
    ldap_url_parse(server.toUtf8().constData(), &parsed);
    Url url(parsed);
    if (url && (qstricmp(url->lud_scheme, "ldapi") == 0 || qstrlen(url->lud_host) == 0))
        url.reset();
    return url;
}

/// StartTLS is asked for by an extension of the URI.
bool wantsTls(const QString& server) {
    return server.startsWith(u"ldaps:"_s, Qt::CaseInsensitive) ||
           server.contains(u"StartTLS"_s, Qt::CaseInsensitive) ||
           server.contains(QLatin1String(LDAP_EXOP_START_TLS));
}

/// Has certificates verified whatever TLS_REQCERT and TLS_REQSAN say: a TLS context of the handle's
/// own, with the other TLS settings of the client library, which such a context does not inherit.
bool demandCertificate(LDAP* handle) {
    setOption(handle, LDAP_OPT_X_TLS_REQUIRE_CERT, LDAP_OPT_X_TLS_DEMAND);
    // The common name counts only if the certificate has no list of names.
    setOption(handle, LDAP_OPT_X_TLS_REQUIRE_SAN, LDAP_OPT_X_TLS_TRY);
    for (const int option :
         {LDAP_OPT_X_TLS_CACERTFILE, LDAP_OPT_X_TLS_CACERTDIR, LDAP_OPT_X_TLS_CERTFILE,
          LDAP_OPT_X_TLS_KEYFILE, LDAP_OPT_X_TLS_CRLFILE, LDAP_OPT_X_TLS_CIPHER_SUITE})
        if (const QByteArray text = textOption(nullptr, option); !text.isEmpty())
            ldap_set_option(handle, option, text.constData());
    int protocol = 0;
    ldap_get_option(nullptr, LDAP_OPT_X_TLS_PROTOCOL_MIN, &protocol);
    setOption(handle, LDAP_OPT_X_TLS_PROTOCOL_MIN, protocol);
    const int client = 0;
    return ldap_set_option(handle, LDAP_OPT_X_TLS_NEWCTX, &client) == LDAP_SUCCESS;
}

QString unreadableTlsFiles() {
    QStringList found;
    for (const int option :
         {LDAP_OPT_X_TLS_CACERTFILE, LDAP_OPT_X_TLS_CACERTDIR, LDAP_OPT_X_TLS_CERTFILE,
          LDAP_OPT_X_TLS_KEYFILE, LDAP_OPT_X_TLS_CRLFILE})
        if (const QString path = QString::fromLocal8Bit(textOption(nullptr, option));
            !path.isEmpty() && !QFileInfo(path).isReadable())
            found += u"%1 cannot be read"_s.arg(path);
    return found.join(u"; "_s);
}

/// An object's name as every domain controller knows it: Windows 2000 takes a GUID only as the 32
/// hexadecimal digits of its bytes ([MS-ADTS] 3.1.1.3.1.2.4).
QByteArray nameToSend(const QString& name) {
    const QUuid guid(name.mid(6, 36));
    if (name.compare(u"<GUID=%1>"_s.arg(guid.toString(QUuid::WithoutBraces)),
                     Qt::CaseInsensitive) != 0)
        return libraryText(name);
    return "<GUID=" + platform::octetsFromGuid(guid).toHex() + '>';
}

/// What a notice of disconnection says (RFC 4511 4.4.1); null for any other unsolicited message.
QString disconnection(LDAP* handle, LDAPMessage* message) {
    char* identifier = nullptr;
    berval* data = nullptr;
    const int found = ldap_parse_extended_result(handle, message, &identifier, &data, 0);
    const Text owned(identifier);
    ber_bvfree(data);
    if (found != LDAP_SUCCESS || qstrcmp(identifier, LDAP_NOTICE_OF_DISCONNECTION) != 0)
        return {};
    int code = LDAP_SUCCESS;
    char* text = nullptr;
    ldap_parse_result(handle, message, &code, nullptr, &text, nullptr, nullptr, 0);
    return codeText(code) + u": "_s + QString::fromUtf8(Text(text).get()).trimmed();
}

/// What the client library is set to say of the user; everything else is answered with what the
/// mechanism proposes.
struct SignOnAnswers {
    QByteArray name, authorization, realm;
};

int answer(LDAP*, unsigned, void* context, void* questions) {
    const auto& answers = *static_cast<const SignOnAnswers*>(context);
    for (auto* question = static_cast<sasl_interact_t*>(questions);
         question->id != SASL_CB_LIST_END; ++question) {
        const char* chosen = question->defresult ? question->defresult : "";
        if (question->id == SASL_CB_USER)
            chosen = answers.authorization.isEmpty() ? chosen : answers.authorization.constData();
        else if (question->id == SASL_CB_AUTHNAME)
            chosen = answers.name.isEmpty() ? chosen : answers.name.constData();
        else if (question->id == SASL_CB_GETREALM)
            chosen = answers.realm.isEmpty() ? chosen : answers.realm.constData();
        else
            return LDAP_PARAM_ERROR; // a password: never asked for
        question->result = chosen;
        question->len = unsigned(qstrlen(chosen));
    }
    return LDAP_SUCCESS;
}

} // namespace

void HandleDeleter::operator()(LDAP* handle) const {
    ldap_unbind_ext(handle, nullptr, nullptr);
}

void MessageDeleter::operator()(LDAPMessage* message) const {
    ldap_msgfree(message);
}

QByteArray libraryText(const QString& text) {
    if (text.contains(QChar(0)))
        throw Error(u"The directory cannot be asked about “%1”: it holds a NUL character."_s.arg(
            QString(text).replace(QChar(0), u"\\00"_s)));
    return text.toUtf8();
}

ServerConnection::ServerConnection(const QString& server, const LdapSettings& settings,
                                   std::shared_ptr<Health> health, bool reviving)
    : m_server(server), m_settings(settings), m_health(std::move(health)), m_reviving(reviving) {
    LDAP* handle = nullptr;
    const int made = ldap_initialize(&handle, libraryText(server).constData());
    m_handle.reset(handle);
    if (made != LDAP_SUCCESS)
        fail({Stage::Connect}, {made});

    const milliseconds most = shortened(settings.connectLimit, Stage::Connect);
    const QDeadlineTimer connecting(most);
    m_socketLayer = std::make_unique<SocketLayer>(handle, most, settings.interruption);
    setOption(handle, LDAP_OPT_PROTOCOL_VERSION, LDAP_VERSION3);
    ldap_set_option(handle, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    ldap_set_option(handle, LDAP_OPT_RESTART, LDAP_OPT_ON);
    // A reverse name look-up would let whoever answers it choose the server to trust. The Kerberos
    // library may still make one: that is set in krb5.conf.
    ldap_set_option(handle, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
    // A firewall that forgets an idle connection would cost the next request its whole limit.
    setOption(handle, LDAP_OPT_X_KEEPALIVE_IDLE, 120); // seconds
    setOption(handle, LDAP_OPT_X_KEEPALIVE_INTERVAL, 15);
    setOption(handle, LDAP_OPT_X_KEEPALIVE_PROBES, 4);
    // Limits set for other programs in ldap.conf would cut lists short.
    setOption(handle, LDAP_OPT_TIMELIMIT, LDAP_NO_LIMIT);
    setOption(handle, LDAP_OPT_DEREF, LDAP_DEREF_NEVER);
    const bool tls = wantsTls(server);
    if (tls && !demandCertificate(handle))
        fail({Stage::Connect},
             {.code = LDAP_CONNECT_ERROR,
              .diagnostic = unreadableTlsFiles(),
              .cause = u"The TLS settings of ldap.conf cannot be used: correct them."_s});
    checkReachable(connecting, most);
    const timeval limit =
        toTimeval(std::max(milliseconds(connecting.remainingTime()), milliseconds(100)));
    ldap_set_option(handle, LDAP_OPT_NETWORK_TIMEOUT, &limit);
    ldap_set_option(handle, LDAP_OPT_TIMEOUT, &limit);
    const int connected = ldap_connect(handle);
    const QString remark = diagnostic();
    if (m_socketLayer->timedOut() || (connected != LDAP_SUCCESS && connecting.hasExpired()))
        failSilent({Stage::Connect}, most);
    // The client library goes on in clear where the URI leaves StartTLS optional.
    if (tls && (connected != LDAP_SUCCESS || ldap_tls_inplace(handle) == 0))
        failTls(remark, connecting);
    if (connected != LDAP_SUCCESS)
        fail({Stage::Connect}, {connected, remark});
    signOn();
    m_socketLayer->setLimit(shortened(settings.answerLimit, Stage::SignOn));
}

/// The client library looks names up and connects without our limits, and nothing interrupts it:
/// that one of the addresses answers is found out beforehand.
void ServerConnection::checkReachable(QDeadlineTimer deadline, milliseconds limit) {
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
            failSilent({Stage::Connect}, limit);
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

void ServerConnection::signOn() {
    LDAP* handle = m_handle.get();
    const bool local = m_server.startsWith(u"ldapi:"_s, Qt::CaseInsensitive);
    const bool tls = ldap_tls_inplace(handle) != 0;
    ldap_set_option(handle, LDAP_OPT_X_SASL_SECPROPS, tls ? WithinTls : WithoutTls);
    // Within TLS, domain controllers may refuse a ticket that is not bound to their certificate.
    setOption(handle, LDAP_OPT_X_SASL_CBINDING, LDAP_OPT_X_SASL_CBINDING_TLS_ENDPOINT);

    const QByteArray chosen = textOption(handle, LDAP_OPT_X_SASL_MECH);
    QByteArrayList mechanisms{"GSS-SPNEGO", "GSSAPI"};
    if (!chosen.isEmpty())
        mechanisms = {chosen};
    else if (local)
        mechanisms = {"EXTERNAL"};
    Result result;
    for (const QByteArray& mechanism : mechanisms) {
        result = bind(mechanism.constData());
        if (result.code != LDAP_AUTH_METHOD_NOT_SUPPORTED && result.code != LDAP_AUTH_UNKNOWN)
            break;
    }
    if (result.code != LDAP_SUCCESS)
        fail({Stage::SignOn}, result);
    ber_len_t strength = 0;
    ldap_get_option(handle, LDAP_OPT_X_SASL_SSF, &strength);
    if (!tls && !local && strength < LeastStrength)
        fail({Stage::SignOn}, {LDAP_CONFIDENTIALITY_REQUIRED, u"the connection is not sealed"_s});
}

Result ServerConnection::bind(const char* mechanism) {
    LDAP* handle = m_handle.get();
    SignOnAnswers answers{textOption(handle, LDAP_OPT_X_SASL_AUTHCID),
                          textOption(handle, LDAP_OPT_X_SASL_AUTHZID),
                          textOption(handle, LDAP_OPT_X_SASL_REALM)};
    const char* used = nullptr;
    int request = 0;
    Message reply;
    for (;;) {
        const int code = ldap_sasl_interactive_bind(handle, nullptr, mechanism, nullptr, nullptr,
                                                    LDAP_SASL_QUIET, answer, &answers, reply.get(),
                                                    &used, &request);
        if (code != LDAP_SASL_BIND_IN_PROGRESS)
            return {code, code == LDAP_SUCCESS ? QString() : diagnostic()};
        reply = await(request, Until::AllCame, m_settings.connectLimit, {Stage::SignOn});
    }
}

void ServerConnection::handOver(const LdapSettings& settings, std::shared_ptr<Health> health,
                                bool pages) {
    m_settings = settings;
    m_health = std::move(health);
    m_pages = pages;
    m_socketLayer->setInterruption(settings.interruption);
    m_socketLayer->setLimit(settings.answerLimit);
    noteAnswer();
}

std::shared_ptr<const void> ServerConnection::beginPaging() {
    const auto paging = std::make_shared<char>();
    m_paging = paging;
    return paging;
}

bool ServerConnection::usable() const {
    int descriptor = -1;
    if (m_lost || m_timeoutsBefore != m_health->timeouts ||
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
        names.push_back(libraryText(name));
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
                                     libraryText(request.filter).constData(),
                                     names.empty() ? nullptr : attributes.data(), 0,
                                     controls.data(), nullptr, nullptr, LDAP_NO_LIMIT, &number);
    if (code == LDAP_FILTER_ERROR)
        fail({Stage::Search, u"%1 with the filter \"%2\""_s.arg(request.base, request.filter)},
             {code});
    return sent(code, number, attempt);
}

int ServerConnection::sendModify(const QString& name, const QList<engine::Change>& replacements) {
    struct Change {
        QByteArray type;
        std::vector<berval> values;
        std::vector<berval*> list;
        LDAPMod modification{};
    };
    std::vector<Change> changes(size_t(replacements.size()));
    std::vector<LDAPMod*> modifications;
    for (size_t i = 0; i < changes.size(); ++i) {
        const engine::Change& replacement = replacements.at(qsizetype(i));
        Change& change = changes[i];
        change.type = libraryText(replacement.attribute);
        for (const QByteArray& value : replacement.values)
            change.values.push_back(
                {ber_len_t(value.size()), const_cast<char*>(value.constData())});
        for (berval& value : change.values)
            change.list.push_back(&value);
        change.list.push_back(nullptr);
        using Kind = engine::Change::Kind;
        change.modification.mod_op =
            LDAP_MOD_BVALUES | (replacement.kind == Kind::Add      ? LDAP_MOD_ADD
                                : replacement.kind == Kind::Delete ? LDAP_MOD_DELETE
                                                                   : LDAP_MOD_REPLACE);
        change.modification.mod_type = change.type.data();
        change.modification.mod_bvalues = change.list.data();
        modifications.push_back(&change.modification);
    }
    modifications.push_back(nullptr);
    int number = 0;
    const int code = ldap_modify_ext(m_handle.get(), nameToSend(name).constData(),
                                     modifications.data(), nullptr, nullptr, &number);
    return sent(code, number, {Stage::Modify, name});
}

int ServerConnection::sent(int code, int request, const Attempt& attempt) {
    if (code == LDAP_SUCCESS)
        return request;
    if (m_socketLayer->timedOut())
        failSilent(attempt, m_settings.answerLimit);
    m_lost = m_lost || code == LDAP_SERVER_DOWN;
    Result result{code, code == LDAP_SERVER_DOWN ? QString() : diagnostic()};
    result.sent = false; // the library reports success once the last byte is written
    fail(attempt, result);
}

Message ServerConnection::receive(int request, Until until, const Attempt& attempt) {
    return await(request, until, m_settings.answerLimit, attempt);
}

Message ServerConnection::await(int request, Until until, milliseconds limit,
                                const Attempt& attempt) {
    if (m_reset)
        fail(attempt, {LDAP_SERVER_DOWN});
    LDAP* handle = m_handle.get();
    Sockbuf* buffer = nullptr;
    ldap_get_option(handle, LDAP_OPT_SOCKBUF, &buffer);
    const QDeadlineTimer deadline(shortened(limit, attempt.stage));
    Message message;
    QString notice;
    int type = 0;
    bool gathers = until == Until::ManyCame;
    const auto gather = [&] {
        if (gathers)
            std::this_thread::sleep_for(Gathering);
        return std::exchange(gathers, false);
    };
    const auto take = [&](int number, int all) {
        timeval now{};
        LDAPMessage* received = nullptr;
        const int taken = ldap_result(handle, number, all, &now, &received);
        message.reset(received);
        return taken;
    };
    do { // our own wait, since the library's cannot be interrupted
        // The library shows the words of a notice of disconnection only to whoever asks for
        // unsolicited messages. A search is sent again instead.
        if (attempt.stage == Stage::Modify && take(LDAP_RES_UNSOLICITED, LDAP_MSG_ONE) > 0)
            notice = disconnection(handle, message.get());
        type = take(request, until == Until::AllCame ? LDAP_MSG_ALL : LDAP_MSG_RECEIVED);
        // It may have read messages and yet told of none, since its time was over.
    } while (type == 0 && notice.isEmpty() &&
             (ber_sockbuf_ctrl(buffer, LBER_SB_OPT_DATA_READY, nullptr) > 0 ||
              m_socketLayer->anyRead() || gather() ||
              m_socketLayer->awaitReadable(milliseconds(deadline.remainingTime()))));
    if (type > 0) {
        if (attempt.stage == Stage::Search)
            noteAnswer();
        return message;
    }
    if (m_socketLayer->timedOut())
        failSilent(attempt, limit);
    m_lost = true;
    if (!notice.isEmpty())
        fail(attempt, {LDAP_SERVER_DOWN, notice});
    // The library returns the code of a notice of disconnection as if the request had been
    // answered. The server may have carried the request out all the same.
    int code = LDAP_SERVER_DOWN;
    ldap_get_option(handle, LDAP_OPT_RESULT_CODE, &code);
    fail(attempt, {std::min(code, LDAP_SERVER_DOWN), code > 0 ? codeText(code) : diagnostic()});
}

milliseconds ServerConnection::shortened(milliseconds limit, Stage stage) const {
    const bool search = stage == Stage::Search && m_health->silent;
    return m_reviving || search ? std::min(limit, m_settings.revivalLimit) : limit;
}

void ServerConnection::noteAnswer() {
    m_health->silent = false;
    m_timeoutsBefore = m_health->timeouts;
    if (std::exchange(m_reviving, false))
        m_socketLayer->setLimit(m_settings.answerLimit);
}

void ServerConnection::failSilent(Attempt attempt, milliseconds limit) {
    attempt.limit = shortened(limit, attempt.stage);
    m_lost = true;
    m_health->noteTimeout(m_reviving, m_settings.revivalPause);
    fail(attempt, {LDAP_TIMEOUT});
}

QByteArray ServerConnection::checkResult(LDAPMessage* message, const Attempt& attempt) {
    int code = LDAP_SUCCESS;
    char* text = nullptr;
    char** addresses = nullptr;
    LDAPControl** list = nullptr;
    const int parsed =
        ldap_parse_result(m_handle.get(), message, &code, nullptr, &text, &addresses, &list, 0);
    const Text said(text);
    const Texts referrals(addresses);
    const Controls controls(list);
    m_lost = m_lost || parsed != LDAP_SUCCESS;
    if (parsed != LDAP_SUCCESS)
        fail(attempt, {parsed});
    Result result{code, QString::fromUtf8(text).trimmed()};
    for (char** address = addresses; address && *address; ++address)
        result.referrals += QString::fromUtf8(*address);
    m_lost = m_lost || code == LDAP_UNAVAILABLE; // the session may have ended with its ticket
    if (code != LDAP_SUCCESS)
        fail(attempt, result);
    LDAPControl* page = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, list, nullptr);
    berval next{};
    ber_int_t estimate = 0;
    if (!page)
        return {};
    if (ldap_parse_pageresponse_control(m_handle.get(), page, &estimate, &next) != LDAP_SUCCESS)
        fail(attempt, {LDAP_DECODING_ERROR, u"it does not tell whether there is another page"_s});
    const Text cookie(next.bv_val);
    return QByteArray(next.bv_val, qsizetype(next.bv_len));
}

void ServerConnection::finish(int request, const Attempt& attempt) {
    checkResult(receive(request, Until::AllCame, attempt).get(), attempt);
}

void ServerConnection::abandon(int request) noexcept {
    if (!m_lost)
        ldap_abandon_ext(m_handle.get(), request, nullptr, nullptr);
}

void ServerConnection::reset() noexcept {
    int descriptor = -1;
    ldap_get_option(m_handle.get(), LDAP_OPT_DESC, &descriptor);
    // Closed in order, the kernel would deliver what it still holds when the server comes back. A
    // connection that is dissolved so (connect(2)) is reset at once.
    const sockaddr none{AF_UNSPEC, {}};
    if (descriptor >= 0)
        static_cast<void>(::connect(descriptor, &none, sizeof none));
    m_lost = m_reset = true;
}

void ServerConnection::fail(Attempt attempt, const Result& result) const {
    attempt.server = m_server;
    throw describeResult(attempt, result);
}

QString ServerConnection::diagnostic() const {
    return QString::fromUtf8(textOption(m_handle.get(), LDAP_OPT_DIAGNOSTIC_MESSAGE)).trimmed();
}

} // namespace rehome::ldap
