#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/guid.h"

#include <QtTest>

/// What holds for every engine.
namespace rehome::test {

inline void checkPart(const QString& text, const QString& part) {
    QVERIFY2(text.contains(part), qPrintable(part + " is not in: " + text));
}

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

inline QStringList names(engine::Session& session, const engine::SearchRequest& request) {
    QStringList names;
    const auto entries = session.search(request);
    while (const auto entry = entries->next())
        names += entry->distinguishedName;
    return names;
}

/// Empty where there is no such object; all its attributes where none are named.
inline engine::Entry one(engine::Session& session, const QString& base,
                         const QStringList& attributes = {}) {
    return session.search({base, engine::Scope::Base, "(objectClass=*)", attributes})
        ->next()
        .value_or(engine::Entry());
}

/// Nothing is changed in the end.
inline void checkContract(engine::Engine& engine, const ContractNames& at) {
    using enum engine::Scope;
    auto session = engine.openSession();
    const QString any = "(objectClass=*)", absent = "CN=Nobody At All," + at.container;
    const QString missing = "<GUID=00000000-1111-2222-3333-444444444444>";
    const auto user = one(*session, at.user);
    const QUuid guid = platform::guidFromOctets(user.values("objectGUID").value(0));
    const QString byGuid = "<GUID=" + guid.toString(QUuid::WithoutBraces) + '>';
    QCOMPARE(user.text("DISTINGUISHEDNAME"), at.user);
    const QString name = user.text("displayName"), start = name.left(3) + '*';
    const struct {
        QString base;
        engine::Scope scope;
        QString filter, object;
        bool found = true;
    } searches[] = {
        {at.user, Base, any, at.user},
        {at.user.toUpper().replace(",OU=", " , OU= "), Base, any, at.user},
        {byGuid.toUpper(), Base, any, at.user},
        {at.container, OneLevel, any, at.user},
        {at.domain, OneLevel, any, at.user, false},
        {at.domain, Subtree, any, at.user},
        {at.domain, Subtree, any, at.server, false}, // of another naming context
        {at.domain, Subtree, "(displayName=" + engine::filterValue(name.toUpper()) + ')', at.user},
        {at.domain, Subtree, "(displayName=" + start + ')', at.user},
        {at.domain, Subtree, "(displayName=" + engine::filterValue(start) + ')', at.user, false},
        {at.domain, Subtree, "(homeMDB=" + engine::filterValue(at.store) + ')', at.user},
        {at.domain, Subtree, "(&(objectCategory=person)(!(homeMDB=x)))", at.user},
        {at.domain, Subtree, "(objectCategory=group)", at.user, false},
    };
    for (const auto& [base, scope, filter, object, found] : searches)
        QVERIFY2(names(*session, {base, scope, filter, {"name"}}).contains(object) == found,
                 qPrintable(base + ' ' + filter + ' ' + object));
    const auto root = one(*session, {}, {"DEFAULTNAMINGCONTEXT"});
    QCOMPARE(root.text("defaultNamingContext"), at.domain);
    QCOMPARE(root.attributes().size(), size_t(1));
    const auto some = one(*session, at.user, {"DISPLAYname", "objectguid", "noSuchAttribute"});
    QCOMPARE(some.attributes().size(), size_t(2));
    QVERIFY(some.attributes().at(0).name == "displayName" || // in the schema's letter case
            some.attributes().at(1).name == "displayName");
    QVERIFY(user.values("allowedAttributes").isEmpty()); // unless asked for by name
    const auto allowed = one(*session, at.user, {"allowedAttributes"}).values("allowedAttributes");
    for (const char* attribute : {"homeMDB", "mDBUseDefaults", "proxyAddresses"})
        QVERIFY2(allowed.contains(attribute), attribute);

    const auto fails = [&](const QString& named, const auto& action) {
        const QString said = errorOf(action);
        QVERIFY2(!said.isEmpty() && said.contains(named), qPrintable(named + ": " + said));
    };
    for (const QString& base : {absent, missing, QString("<GUID=0000>"), QString("no name")})
        fails(base, [&] { one(*session, base); });
    for (const QString filter : {"(a=b", "(&(a=b)", "(a=b))", "(a=\\zz)", ""})
        fails(filter, [&] { names(*session, {at.user, Base, filter, {}}); });
    for (const QString& base : {absent, missing})
        fails(base, [&] { session->modify(base, {{"mail", {"a@b"}}}); });
    for (const QString fixed : {"name", "objectGUID", "distinguishedName"})
        fails(at.user, [&] { session->modify(at.user, {{fixed, {"x"}}}); });

    const auto now = [&](const QString& attribute) {
        auto values = one(*session, at.user).values(attribute);
        std::sort(values.begin(), values.end());
        return values;
    };
    const auto proxies = now("proxyAddresses"), home = now("homeMDB"), mail = now("mail");
    const QList<QByteArray> two{"SMTP:a@new.example", "smtp:ü@new.example"}, a{"a@new.example"};
    const auto reached = [&](const QString& address, const QString& base) {
        const QString either = "(|(proxyAddresses=smtp:%1)(mail=%1))";
        const QString filter =
            "(&(objectClass=user)" + either.arg(engine::filterValue(address)) + ')';
        return names(*session, {base, Subtree, filter, {}}).join(' ');
    };
    const QString before = user.text("mail");
    QCOMPARE(reached(before.toUpper(), at.domain), at.user);
    session->modify(at.user.toLower(), {{"PROXYaddresses", two}, {"mail", a}});
    for (const QString& address : {before, QString("A@NEW.example"), QString("Ü@New.example")})
        for (const QString& base : {at.domain, at.user, at.server})
            QCOMPARE(reached(address, base),
                     address == before || base == at.server ? QString("") : at.user);
    QCOMPARE(now("proxyAddresses"), two);
    for (const QString& base : {byGuid, at.user}) // the second time there is nothing left
        session->modify(base, {{"proxyAddresses", {}}, {"homeMDB", {}}});
    QVERIFY(now("proxyAddresses").isEmpty() && now("homeMDB").isEmpty());
    const auto refuses = [&](const QList<engine::Change>& changes) {
        QVERIFY_THROWS_EXCEPTION(engine::ChangedSince, session->modify(at.user, changes));
    };
    constexpr auto Add = engine::Change::Kind::Add, Delete = engine::Change::Kind::Delete;
    const QByteArray octets(16, 'g'), others(16, 'o'), otherHome = at.otherStore.toUtf8();
    session->modify(at.user, {{"homeMDB", home, Add}, {"msExchMailboxGuid", {octets}}});
    refuses({{"homeMDB", {otherHome}, Add}});                       // has one
    refuses({{"homeMDB", {otherHome}, Delete}, {"mail", {"x@y"}}}); // is another
    refuses({{"msExchMailboxGuid", {others}, Delete}, {"msExchMailboxGuid", {others}, Add}});
    QVERIFY(now("homeMDB") == home && now("mail") == a);
    session->modify(at.user, {{"homeMDB", home, Delete},
                              {"msExchMailboxGuid", {octets}, Delete},
                              {"msExchMailboxGuid", {octets}, Add},
                              {"mail", a, Delete},
                              {"mail", {"c@new.example"}, Add}});
    QCOMPARE(now("msExchMailboxGuid").value(0), octets);
    refuses({{"homeMDB", home, Delete}}); // has none
    session->modify(at.user, {{"mail", a}, {"msExchMailboxGuid", {}}});
    const QByteArray gone = "CN=Gone," + at.store.toUtf8(),
                     lower = at.otherStore.toLower().toUtf8();
    fails(at.user, [&] {
        session->modify(at.user, {{"mail", {"b@new.example"}}, {"homeMDB", {gone}}});
    });
    QCOMPARE(now("mail"), a);
    session->modify(at.user, {{"homeMDB", {lower}}});
    QCOMPARE(now("homeMDB").value(0), at.otherStore.toUtf8());
    session->modify(at.user, {{"homeMDB", home}, {"mail", mail}, {"proxyAddresses", proxies}});
    QCOMPARE(now("proxyAddresses"), proxies);

    QVERIFY(session->search({at.domain, Subtree, any, {}}) != nullptr); // and is given up
    const auto orphan = session->search({at.domain, Subtree, any, {}});
    QVERIFY(orphan->next().has_value());
    QCOMPARE(one(*session, at.user).distinguishedName, at.user);
    session.reset();
    fails({}, [&] {
        while (orphan->next())
            continue;
    });
}

} // namespace rehome::test
