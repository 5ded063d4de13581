#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/escape.h"
#include "platform/error.h"

#include <QtTest>

/// What holds for every engine. Each check is a test of its own; an engine's test runs them all.
namespace rehome::test {

/// Objects of an organisation that an engine's test has at hand.
struct ContractNames {
    QString domain, container, user;   ///< each directly below the one before
    QString store, otherStore, server; ///< `user` is on `store`
};

/// The description of the error that `action` throws, null where it throws none.
template <class Action>
QString errorOf(Action&& action) {
    try {
        action();
    } catch (const Error& error) {
        return error.description();
    }
    return {};
}

inline QList<engine::Entry> all(engine::Session& session, const engine::SearchRequest& request) {
    QList<engine::Entry> found;
    const auto entries = session.search(request);
    while (auto entry = entries->next())
        found.append(*entry);
    return found;
}

inline QStringList names(engine::Session& session, const engine::SearchRequest& request) {
    QStringList names;
    for (const auto& entry : all(session, request))
        names.append(entry.distinguishedName);
    return names;
}

inline engine::Entry one(engine::Session& session, const QString& base) {
    return all(session, {base, engine::Scope::Base, QStringLiteral("(objectClass=*)"), {}})
        .value(0);
}

inline QString guidBase(const engine::Entry& entry) {
    QByteArray bytes = entry.values(QStringLiteral("objectGUID")).value(0);
    std::reverse(bytes.begin(), bytes.begin() + 4);
    std::reverse(bytes.begin() + 4, bytes.begin() + 6);
    std::reverse(bytes.begin() + 6, bytes.begin() + 8);
    return QStringLiteral("<GUID=%1>")
        .arg(QUuid::fromRfc4122(bytes).toString(QUuid::WithoutBraces));
}

inline void checkSearches(engine::Engine& engine, const ContractNames& at) {
    using namespace Qt::StringLiterals;
    using enum engine::Scope;
    const auto session = engine.openSession();
    const auto root = all(*session, {{}, Base, u"(objectClass=*)"_s, {u"DEFAULTNAMINGCONTEXT"_s}});
    QCOMPARE(root.size(), 1);
    QCOMPARE(root[0].text(u"defaultNamingContext"_s), at.domain);
    QCOMPARE(root[0].attributes.size(), size_t(1));

    const auto found = [&](const QString& base, engine::Scope scope, const QString& filter) {
        return names(*session, {base, scope, filter, {u"name"_s}});
    };
    const QString any = u"(objectClass=*)"_s;
    QCOMPARE(found(at.user, Base, any), QStringList{at.user});
    QVERIFY(found(at.container, OneLevel, any).contains(at.user));
    QVERIFY(!found(at.container, OneLevel, any).contains(at.container));
    QVERIFY(!found(at.domain, OneLevel, any).contains(at.user));
    QVERIFY(found(at.domain, Subtree, any).contains(at.user));
    QVERIFY(found(at.container, Subtree, any).contains(at.container));
    QVERIFY(!found(at.domain, Subtree, any).contains(at.server)); // another naming context
    const QString spelled = at.user.toUpper().replace(u",OU="_s, u" , OU= "_s);
    QCOMPARE(found(spelled, Base, any), QStringList{at.user});

    const auto user = one(*session, at.user);
    QCOMPARE(user.text(u"DISTINGUISHEDNAME"_s), at.user);
    const QString shown = user.text(u"displayName"_s);
    const auto by = [](const QString& text) { return u"(displayName=%1)"_s.arg(text); };
    QCOMPARE(found(at.domain, Subtree, by(engine::filterValue(shown).toUpper())),
             QStringList{at.user});
    QVERIFY(found(at.domain, Subtree, by(shown.left(3) + u'*')).contains(at.user));
    QVERIFY(found(at.domain, Subtree, by(engine::filterValue(shown.left(3) + u'*'))).isEmpty());
    QVERIFY(found(at.container, OneLevel, u"(&(objectCategory=person)(!(homeMDB=x)))"_s)
                .contains(at.user));
    QVERIFY(!found(at.container, OneLevel, u"(objectCategory=group)"_s).contains(at.user));
    QVERIFY(found(at.container, OneLevel, u"(homeMDB=%1)"_s.arg(engine::filterValue(at.store)))
                .contains(at.user));

    const QStringList wanted{u"DISPLAYname"_s, u"objectguid"_s, u"noSuchAttribute"_s};
    const auto some = all(*session, {guidBase(user).toUpper(), Base, any, wanted}).value(0);
    QCOMPARE(some.distinguishedName, at.user);
    QCOMPARE(some.attributes.size(), size_t(2));
    QCOMPARE(some.attributes.begin()->first, u"displayName"_s);
}

inline void checkErrors(engine::Engine& engine, const ContractNames& at) {
    using namespace Qt::StringLiterals;
    auto session = engine.openSession();
    const auto searching = [&](const QString& base, const QString& filter) {
        return errorOf([&] { all(*session, {base, engine::Scope::Base, filter, {}}); });
    };
    const QString any = u"(objectClass=*)"_s, absent = u"CN=Nobody At All,"_s + at.container;
    const QString missing = u"<GUID=00000000-1111-2222-3333-444444444444>"_s;
    QVERIFY(searching(absent, any).contains(absent));
    QVERIFY(searching(missing, any).contains(missing));
    QVERIFY(!searching(u"<GUID=0000>"_s, any).isEmpty());
    QVERIFY(searching(u"<GUID=0000>"_s, any) !=
            searching(missing, any).replace(missing, u"<GUID=0000>"_s));
    QVERIFY(searching(u"no name"_s, any).contains(u"no name"_s));
    for (const QString& filter : {u"(a=b"_s, u"(&(a=b)"_s, u"(a=b))"_s, u"(a=\\zz)"_s, u""_s})
        QVERIFY2(searching(at.user, filter).contains(filter), qPrintable(filter));
    QVERIFY(!searching(at.user, u""_s).isEmpty());
    for (const QString& name : {absent, missing})
        QVERIFY(errorOf([&] { session->modify(name, {{u"mail"_s, {"a@b"}}}); }).contains(name));
    for (const QString& fixed : {u"name"_s, u"objectGUID"_s, u"distinguishedName"_s})
        QVERIFY(!errorOf([&] { session->modify(at.user, {{fixed, {"x"}}}); }).isEmpty());

    { const auto unfinished = session->search({at.domain, engine::Scope::Subtree, any, {}}); }
    const auto orphan = session->search({at.domain, engine::Scope::Subtree, any, {}});
    QVERIFY(orphan->next());
    QCOMPARE(one(*session, at.user).distinguishedName, at.user);
    session.reset();
    QVERIFY(!errorOf([&] {
                 while (orphan->next())
                     ;
             }).isEmpty());
}

inline void checkModify(engine::Engine& engine, const ContractNames& at) {
    using namespace Qt::StringLiterals;
    const auto session = engine.openSession();
    const auto before = one(*session, at.user);
    const QString proxy = u"proxyAddresses"_s, home = u"homeMDB"_s, mail = u"mail"_s;
    const auto now = [&](const QString& name) { return one(*session, at.user).values(name); };
    const auto sorted = [](QList<QByteArray> list) {
        return std::sort(list.begin(), list.end()), list;
    };

    const QList<QByteArray> two{"SMTP:a@new.example", "smtp:b@new.example"};
    session->modify(at.user.toLower(), {{u"PROXYaddresses"_s, two}, {mail, {"a@new.example"}}});
    QCOMPARE(sorted(now(proxy)), two);
    QCOMPARE(now(mail).value(0), "a@new.example");
    session->modify(guidBase(before), {{proxy, {}}, {home, {}}});
    QVERIFY(now(proxy).isEmpty() && now(home).isEmpty());
    session->modify(at.user, {{proxy, {}}, {home, {}}});

    const QString gone = u"CN=Gone,"_s + at.store;
    const QString refused = errorOf([&] {
        session->modify(at.user, {{mail, {"b@new.example"}}, {home, {gone.toUtf8()}}});
    });
    QVERIFY2(refused.contains(at.user), qPrintable(refused));
    QCOMPARE(now(mail).value(0), "a@new.example");
    session->modify(at.user, {{home, {at.otherStore.toLower().toUtf8()}}});
    QCOMPARE(now(home).value(0), at.otherStore.toUtf8());
    session->modify(
        at.user,
        {{home, before.values(home)}, {mail, before.values(mail)}, {proxy, before.values(proxy)}});
    QCOMPARE(sorted(now(proxy)), sorted(before.values(proxy)));
}

} // namespace rehome::test
