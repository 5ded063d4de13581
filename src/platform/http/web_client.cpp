#include "platform/http/web_client.h"

#include <curl/curl.h>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

struct EasyCleanup {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
struct MultiCleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
/// Takes a transfer out again, however it has ended.
struct Added {
    CURLM* multi;
    CURL* curl;
    ~Added() { curl_multi_remove_handle(multi, curl); }
};
struct ListFree {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/// What is being received. Each callback returns another number than `size` if the limit is
/// exceeded, and libcurl then ends the transfer with CURLE_WRITE_ERROR.
struct Reception {
    qsizetype left; ///< bytes, of head and body
    QByteArray body;

    static size_t takeBody(char* data, size_t, size_t size, void* reception) {
        auto& self = *static_cast<Reception*>(reception);
        if (!self.fits(size))
            return CURL_WRITEFUNC_ERROR;
        self.body.append(data, qsizetype(size));
        return size;
    }
    static size_t takeHead(char*, size_t, size_t size, void* reception) {
        return static_cast<Reception*>(reception)->fits(size) ? size : CURL_WRITEFUNC_ERROR;
    }

private:
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

struct WebClient::Handles {
    std::unique_ptr<CURLM, MultiCleanup> multi{curl_multi_init()}; ///< keeps the connections
    std::unique_ptr<CURL, EasyCleanup> curl{curl_easy_init()};
    std::unique_ptr<curl_slist, ListFree> headers;
    char detail[CURL_ERROR_SIZE] = "";

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

WebClient::WebClient(const HttpSettings& settings, platform::Interruption* interruption)
    : m_settings(settings), m_interruption(interruption), m_handles(std::make_unique<Handles>()) {
    if (!m_handles->curl || !m_handles->multi)
        throw Error(u"libcurl cannot be set up."_s);
    Handles& h = *m_handles;
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
}

WebClient::~WebClient() = default;

/// A CURLcode.
int WebClient::perform() {
    CURLM* multi = m_handles->multi.get();
    if (curl_multi_add_handle(multi, m_handles->curl.get()) != CURLM_OK)
        return CURLE_FAILED_INIT;
    const Added added{multi, m_handles->curl.get()};
    for (;;) {
        int running = 0;
        if (curl_multi_perform(multi, &running) != CURLM_OK)
            return CURLE_FAILED_INIT;
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi, &left))
            if (message->msg == CURLMSG_DONE)
                return message->data.result;
        if (m_interruption)
            m_interruption->checkpoint();
        const bool watched = m_interruption && !m_interruption->held();
        curl_waitfd request{watched ? m_interruption->descriptor() : -1, CURL_WAIT_POLLIN, 0};
        if (curl_multi_poll(multi, &request, watched ? 1 : 0, 200, nullptr) != CURLM_OK)
            return CURLE_FAILED_INIT;
    }
}

Answer WebClient::propfind(const QByteArray& url, const QByteArray& body) {
    Handles& h = *m_handles;
    Reception reception{m_settings.answerLimit, {}};
    h.set(CURLOPT_URL, url.constData());
    h.set(CURLOPT_POSTFIELDSIZE, long(body.size()));
    h.set(CURLOPT_POSTFIELDS, body.constData());
    h.set(CURLOPT_WRITEDATA, &reception);
    h.set(CURLOPT_HEADERDATA, &reception);
    *h.detail = '\0';
    if (m_interruption)
        m_interruption->waitFor(QString::fromLatin1(url));
    const CURLcode code = CURLcode(perform());
    if (code != CURLE_OK)
        throw NoAnswer(kindOf(code),
                       QString::fromUtf8(*h.detail ? h.detail : curl_easy_strerror(code)));
    long status = 0;
    char* redirect = nullptr;
    curl_easy_getinfo(h.curl.get(), CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(h.curl.get(), CURLINFO_REDIRECT_URL, &redirect);
    return {int(status), reception.body, QString::fromUtf8(redirect)};
}

} // namespace rehome::http
