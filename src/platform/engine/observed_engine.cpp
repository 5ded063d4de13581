#include "platform/engine/observed_engine.h"

#include "platform/error.h"

#include <QStringDecoder>

#include <algorithm>

namespace rehome::engine {

using namespace Qt::Literals::StringLiterals;

namespace {

/// " at " and the server; empty if none is named.
QString at(const QString& server) {
    return server.isEmpty() ? QString() : u" at "_s + server;
}

QString textOf(const SearchRequest& request) {
    if (request.scope == Scope::Base)
        return u"read "_s + request.base + at(request.server);
    return u"find %1 %2 %3"_s.arg(request.base, request.filter, request.attributes.join(u',')) +
           at(request.server);
}

/// As text, or in hexadecimal digits where it is none.
QString textOf(const QByteArray& value) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(value);
    const bool printable =
        !decoder.hasError() && std::all_of(text.begin(), text.end(),
                                           [](QChar c) { return c.isPrint() || c.isSurrogate(); });
    return printable ? text : u"0x"_s + QString::fromLatin1(value.toHex());
}

QString textOf(const QString& name, const QList<Change>& changes) {
    QStringList all;
    for (const auto& [attribute, values, kind] : changes) {
        QStringList texts;
        for (const QByteArray& value : values)
            texts += textOf(value);
        all += attribute +
               (kind == Change::Kind::Add      ? u"+="_s
                : kind == Change::Kind::Delete ? u"-="_s
                                               : u"="_s) +
               texts.join(u',');
    }
    return u"modify %1 %2"_s.arg(name, all.join(u';'));
}

} // namespace

/// One call, from its asking to its end.
class ObservedEngine::Call {
public:
    Call(ObservedEngine& engine, const QString& text)
        : m_observer(engine.m_observer), m_number(++engine.m_calls) {
        m_observer.asks(m_number, text);
    }
    ~Call() { m_observer.ends(m_number, m_how); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    template <class Action>
    auto pass(Action&& action) {
        try {
            return action();
        } catch (const std::exception& error) {
            m_how = u"failed: "_s + describe(error);
            throw;
        }
    }
    void answer() {
        pass([&] { m_observer.answers(m_number); });
    }
    void found(const QString& distinguishedName) { m_observer.finds(m_number, distinguishedName); }
    void setHow(const QString& how) { m_how = how; }

private:
    Observer& m_observer;
    int m_number;
    QString m_how = u"done"_s;
};

class ObservedEngine::ObservedEntries final : public Entries {
public:
    ObservedEntries(ObservedEngine& engine, Session& session, const SearchRequest& request)
        : m_call(engine, textOf(request)),
          m_entries(m_call.pass([&] { return session.search(request); })),
          m_single(request.scope == Scope::Base) {
        m_call.setHow(u"given up"_s);
    }
    std::optional<Entry> next() override {
        auto entry = m_call.pass([&] { return m_entries->next(); });
        if (entry)
            m_call.found(entry->distinguishedName);
        if (!entry || m_single) {
            m_call.setHow(u"done"_s + at(entry ? entry->server : QString()));
            m_call.answer();
        }
        return entry;
    }

private:
    Call m_call;
    std::unique_ptr<Entries> m_entries;
    const bool m_single; ///< there is no second entry to wait for
};

class ObservedEngine::ObservedSession final : public Session {
public:
    explicit ObservedSession(ObservedEngine& engine)
        : m_engine(engine), m_call(engine, u"session"_s),
          m_session(m_call.pass([&] { return engine.m_engine.openSession(); })) {
        m_call.answer();
    }

    std::unique_ptr<Entries> search(const SearchRequest& request) override {
        return std::make_unique<ObservedEntries>(m_engine, *m_session, request);
    }
    void modify(const QString& name, const QList<Change>& changes, const QString& server) override {
        Call call(m_engine, textOf(name, changes) + at(server));
        call.pass([&] { m_session->modify(name, changes, server); });
        call.answer();
    }

private:
    ObservedEngine& m_engine;
    Call m_call;
    std::unique_ptr<Session> m_session;
};

std::unique_ptr<Session> ObservedEngine::openSession() {
    return std::make_unique<ObservedSession>(*this);
}

void ObservedEngine::checkServer(const Entry& server) {
    Call call(*this, u"server "_s + server.distinguishedName);
    call.pass([&] { m_probe.checkServer(server); });
    call.answer();
}

qint16 ObservedEngine::storeStatus(const Entry& store) {
    Call call(*this, u"status "_s + store.distinguishedName);
    const qint16 status = call.pass([&] { return m_probe.storeStatus(store); });
    call.setHow(QString::number(status));
    call.answer();
    return status;
}

QString ObservedEngine::open(Session& directory, const Mailbox& mailbox) {
    Call call(*this, u"open "_s + mailbox.user);
    const QString location = call.pass([&] { return m_opener.open(directory, mailbox); });
    call.setHow(location);
    call.answer();
    return location;
}

} // namespace rehome::engine
