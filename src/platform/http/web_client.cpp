#include "platform/http/web_client.h"

#include <QRegularExpression>

#include <curl/curl.h>

#include <cerrno>
#include <utility>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

struct EasyCleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
struct ListFree {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/// SPNEGO (RFC 4178) takes up to three tokens. libcurl itself has no limit.
constexpr int MaxUnauthorised = 3;

/// What is being received. Each callback returns another number than `size` if a limit is exceeded,
/// and libcurl then ends the transfer with CURLE_WRITE_ERROR.
struct Reception {
    qsizetype left = 0;   ///< bytes, of heads and body
    int unauthorised = 0; ///< heads with the status 401
    Answer answer{};      ///< by the last head

    static size_t takeBody(char* data, size_t, size_t size, void* reception) {
        auto& self = *static_cast<Reception*>(reception);
        if (!self.fits(size))
            return CURL_WRITEFUNC_ERROR;
        self.answer.body.append(data, qsizetype(size));
        return size;
    }
    static size_t takeHead(char* data, size_t, size_t size, void* reception) {
        auto& self = *static_cast<Reception*>(reception);
        const QByteArray line = QByteArray::fromRawData(data, qsizetype(size)).trimmed();
        return self.fits(size) && self.takeLine(line) ? size : CURL_WRITEFUNC_ERROR;
    }
    static int takeTrace(CURL*, curl_infotype kind, char* data, size_t size, void* reception) {
        auto& self = *static_cast<Reception*>(reception);
        const QByteArray text = QByteArray::fromRawData(data, qsizetype(size)).trimmed();
        const QByteArray refusal("gss_init_sec_context() failed: ");
        // Later ones are about what the server has sent.
        if (kind == CURLINFO_TEXT && self.unauthorised == 0 && text.startsWith(refusal))
            self.answer.noTicket = QString::fromUtf8(text.sliced(refusal.size()));
        return 0;
    }

private:
    /// A line of a head; the last is empty. False where it is one 401 too many.
    bool takeLine(const QByteArray& line) {
        const qsizetype colon = line.indexOf(':');
        const QByteArray name = line.left(colon).toLower();
        if (line.startsWith("HTTP/")) {
            answer.status = line.split(' ').value(1).toInt();
            answer.offers.clear();
            answer.fromStore = false;
            unauthorised += answer.status == 401 ? 1 : 0;
        } else if (colon > 0 && name == "www-authenticate") {
            answer.offers += QString::fromLatin1(line.sliced(colon + 1).trimmed());
        } else if (colon > 0 && name == "ms-webstorage") {
            answer.fromStore = true;
        }
        return !line.isEmpty() || unauthorised < MaxUnauthorised;
    }
    bool fits(size_t size) { return (left -= qsizetype(size)) >= 0; }
};

NoAnswer::Kind kindOf(CURLcode code) {
    using enum NoAnswer::Kind;
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return NoName;
    case CURLE_COULDNT_CONNECT:
        return NoConnection;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
        return NoTls;
    case CURLE_PEER_FAILED_VERIFICATION:
        return NotTrusted;
    case CURLE_OPERATION_TIMEDOUT:
        return Late;
    case CURLE_WRITE_ERROR:
        return TooLong;
    default:
        return Other;
    }
}

} // namespace

/// All that a request uses, in whose thread it may stay.
struct WebClient::Transfer {
    std::unique_ptr<CURL, EasyCleanup> curl{curl_easy_init()}; ///< keeps the connection
    std::unique_ptr<curl_slist, ListFree> headers;
    char detail[CURL_ERROR_SIZE] = "";
    QByteArray body; ///< of the request
    Reception reception;
    bool connected = false;

    static int noteConnection(void* transfer, char*, char*, int, int) {
        static_cast<Transfer*>(transfer)->connected = true;
        return CURL_PREREQFUNC_OK;
    }

    /// Most options decide whom a ticket goes to: one that is not understood is not passed over.
    template <class Value>
    void set(CURLoption option, Value value) {
        const CURLcode code = curl_easy_setopt(curl.get(), option, value);
        if (code != CURLE_OK)
            throw Error(u"libcurl cannot be set up: %1 (option %2)."_s
                            .arg(QString::fromUtf8(curl_easy_strerror(code)))
                            .arg(int(option)));
    }
};

WebClient::WebClient(const HttpSettings& settings, std::chrono::milliseconds connectLimit,
                     platform::Interruption* interruption)
    : m_settings(settings), m_connectLimit(connectLimit), m_interruption(interruption),
      m_transfer(std::make_shared<Transfer>()) {
    if (!m_transfer->curl)
        throw Error(u"libcurl cannot be set up."_s);
    Transfer& h = *m_transfer;
    h.set(CURLOPT_PROTOCOLS_STR, "https");
    h.set(CURLOPT_SSL_VERIFYPEER, 1L);
    h.set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (const QByteArray authorities = qgetenv("SSL_CERT_FILE"); !authorities.isEmpty())
        h.set(CURLOPT_CAINFO, authorities.constData());
    h.set(CURLOPT_SSLVERSION, long(CURL_SSLVERSION_TLSv1_0));
    // OpenSSL speaks TLS 1.0 at security level 0 alone.
    h.set(CURLOPT_SSL_CIPHER_LIST,
          "DEFAULT:!aNULL:!eNULL:!EXPORT:!LOW:!RC4:!MD5:!DES:!3DES:!PSK:!SRP@SECLEVEL=0");
    h.set(CURLOPT_HTTPAUTH, long(CURLAUTH_NEGOTIATE));
    h.set(CURLOPT_USERPWD, ":"); // whoever holds the ticket
    h.set(CURLOPT_GSSAPI_DELEGATION, long(CURLGSSAPI_DELEGATION_NONE));
    h.set(CURLOPT_PROXY, "");
    h.set(CURLOPT_FOLLOWLOCATION, 0L);
    h.set(CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_1_1));
    h.set(CURLOPT_TIMEOUT_MS, long(settings.attemptLimit.count()));
    h.set(CURLOPT_CONNECTTIMEOUT_MS, long(connectLimit.count()));
    h.set(CURLOPT_NOSIGNAL, 1L); // not in the first thread
    // A look-up that takes too long is left to itself, not waited for.
    h.set(CURLOPT_QUICK_EXIT, 1L);
    h.set(CURLOPT_ERRORBUFFER, h.detail);
    h.set(CURLOPT_CUSTOMREQUEST, "PROPFIND");
    for (const char* header : {"Depth: 0", "Content-Type: text/xml; charset=\"utf-8\""}) {
        curl_slist* longer = curl_slist_append(h.headers.get(), header);
        if (!longer)
            throw Error(u"There is too little memory."_s);
        (void)h.headers.release();
        h.headers.reset(longer);
    }
    h.set(CURLOPT_HTTPHEADER, h.headers.get());
    h.set(CURLOPT_WRITEFUNCTION, &Reception::takeBody);
    h.set(CURLOPT_HEADERFUNCTION, &Reception::takeHead);
    h.set(CURLOPT_WRITEDATA, &h.reception);
    h.set(CURLOPT_HEADERDATA, &h.reception);
    // Nothing else tells whether a ticket could be had.
    h.set(CURLOPT_VERBOSE, 1L);
    h.set(CURLOPT_DEBUGFUNCTION, &Reception::takeTrace);
    h.set(CURLOPT_DEBUGDATA, &h.reception);
    h.set(CURLOPT_PREREQFUNCTION, &Transfer::noteConnection);
    h.set(CURLOPT_PREREQDATA, &h);
}

void WebClient::propfind(const QByteArray& url, const QByteArray& body) {
    if (m_call)
        return;
    Transfer& h = *m_transfer;
    h.reception = {m_settings.answerLimit};
    h.body = body;
    h.connected = false;
    *h.detail = '\0';
    h.set(CURLOPT_URL, url.constData());
    h.set(CURLOPT_POSTFIELDSIZE, long(h.body.size()));
    h.set(CURLOPT_POSTFIELDS, h.body.constData());
    if (m_interruption)
        m_interruption->waitFor(QString::fromLatin1(url));
    m_call.emplace([transfer = m_transfer] { return curl_easy_perform(transfer->curl.get()); });
}

std::optional<Answer> WebClient::await(QDeadlineTimer deadline) {
    const auto ended = m_call ? m_call->await(deadline, m_interruption) : std::nullopt;
    if (!ended)
        return std::nullopt;
    m_call.reset();
    Transfer& h = *m_transfer;
    const CURLcode code = CURLcode(*ended);
    if (code != CURLE_OK && h.reception.unauthorised < MaxUnauthorised) {
        QString detail = QString::fromUtf8(*h.detail ? h.detail : curl_easy_strerror(code));
        // Another time at every attempt, and so a new reason.
        static const QRegularExpression time(u" after [0-9]+ (ms|milliseconds)"_s);
        long number = 0;
        curl_easy_getinfo(h.curl.get(), CURLINFO_OS_ERRNO, &number);
        const bool silent = code == CURLE_OPERATION_TIMEDOUT && !h.connected;
        const bool refused = code == CURLE_COULDNT_CONNECT && number == ECONNREFUSED;
        throw NoAnswer(refused  ? NoAnswer::Kind::Refused
                       : silent ? NoAnswer::Kind::NoConnection
                                : kindOf(code),
                       detail.remove(time));
    }
    char* redirect = nullptr;
    curl_easy_getinfo(h.curl.get(), CURLINFO_REDIRECT_URL, &redirect);
    h.reception.answer.redirect = QString::fromUtf8(redirect);
    return std::exchange(h.reception.answer, {});
}

} // namespace rehome::http
