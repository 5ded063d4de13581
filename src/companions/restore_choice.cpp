#include "companions/restore_choice.h"

#include "platform/error.h"
#include "platform/exchange/home_attributes.h"
#include "platform/guid.h"
#include "platform/shown_text.h"
#include "platform/text_case.h"

#include <QSet>

#include <algorithm>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

/// The attributes are those of the record.
QString addressOf(const platform::RecoveryRecord& record) {
    for (const auto& attribute : record.Attributes)
        if (attribute.Name.compare("mail"_L1, Qt::CaseInsensitive) == 0)
            return QString::fromUtf8(attribute.Values.value(0));
    return {};
}

/// Of all records of one user the same.
QByteArray identityOf(const platform::RecoveryRecord& record) {
    return record.Guid.isEmpty() ? record.DistinguishedName.toUtf8() : record.Guid;
}

QString userOf(const platform::RecoveryRecord& record) {
    const QString name = record.Guid.isEmpty()
                             ? record.DistinguishedName
                             : platform::guidFromOctets(record.Guid).toString().toUpper();
    const QString address = addressOf(record);
    return platform::shownText(address.isEmpty() ? name : address + u' ' + name);
}

/// One line each.
QString listOf(const QList<journal::FiledRecord>& records) {
    constexpr qsizetype MaxListed = 20;
    QString text;
    for (const journal::FiledRecord& filed : records.first(qMin(records.size(), MaxListed)))
        text += u"\n  line %1: %2"_s.arg(filed.Line).arg(userOf(filed.Record));
    if (records.size() > MaxListed)
        text += u"\n  and %1 more"_s.arg(records.size() - MaxListed);
    return text;
}

QList<journal::FiledRecord> firstOfEachUser(const QList<journal::FiledRecord>& filed,
                                            const auto& matches) {
    QList<journal::FiledRecord> users;
    QSet<QByteArray> known;
    for (const journal::FiledRecord& one : filed) {
        const QByteArray identity = identityOf(one.Record);
        if (identity.isEmpty() || known.contains(identity) || !matches(one))
            continue;
        known.insert(identity);
        users += one;
    }
    return users;
}

/// Throws Error if the record is not one that rehome writes of a live directory.
void check(const journal::FiledRecord& filed, const QString& user) {
    const auto refuse = [&](const QString& reason) {
        throw Error(u"The record of %1 must not be applied: %2.\nNothing has been changed."_s.arg(
            user, reason));
    };
    if (filed.Record.Guid.isEmpty())
        refuse(u"a rehearsal wrote it, since it does not address the user by GUID"_s);
    if (!filed.Fault.isEmpty())
        refuse(filed.Fault);
    for (const auto& attribute : filed.Record.Attributes)
        if (!exchange::findHomeAttribute(attribute.Name))
            refuse(u"rehome never writes the attribute \"%1\""_s.arg(attribute.Name));
}

} // namespace

Choice chooseRecord(const QList<journal::FiledRecord>& filed, const QString& wanted) {
    const bool braced = wanted.startsWith(u'{') && wanted.endsWith(u'}');
    const QByteArray guid = journal::guidOctets(braced ? wanted.sliced(1).chopped(1) : wanted);
    const auto isWanted = [&](const journal::FiledRecord& one) {
        if (!guid.isEmpty())
            return one.Record.Guid == guid;
        return !wanted.isEmpty() && platform::areSameInCapitals(addressOf(one.Record), wanted);
    };
    const auto users = firstOfEachUser(filed, isWanted);
    if (users.isEmpty()) {
        const auto all = firstOfEachUser(filed, [](const auto&) { return true; });
        throw Error(u"No record of \"%1\" was found.\nNothing has been changed.\n"_s.arg(wanted) +
                    (all.isEmpty() ? u"The file holds no records."_s
                                   : u"The file holds the records of:"_s + listOf(all)));
    }
    if (users.size() > 1)
        throw Error(u"Several users had the address \"%1\".\nNothing has been changed.\nRun the "
                    "command again with the GUID of one of them:"_s.arg(wanted) +
                    listOf(users));

    // An address can have changed between two records: the user's first one undoes.
    QList<journal::FiledRecord> records;
    for (const journal::FiledRecord& one : filed)
        if (identityOf(one.Record) == identityOf(users[0].Record) && !one.Half)
            records += one;
    if (records.isEmpty()) // nothing but a half one
        records = users;
    const journal::FiledRecord& first = records[0];
    Choice choice{first.Record, userOf(first.Record), {}};
    check(first, choice.user);
    if (records.size() > 1)
        choice.notes +=
            u"The file holds %1 records of %2. The first one, on line %3, is the state "
            "before all changes and is used."_s.arg(QString::number(records.size()), choice.user,
                                                    QString::number(first.Line));
    return choice;
}

} // namespace rehome::companions
