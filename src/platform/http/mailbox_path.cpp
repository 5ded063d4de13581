#include "platform/http/mailbox_path.h"

#include "platform/http/multistatus.h"

#include <QUrl>

#include <algorithm>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

const QByteArray FolderQuestion =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
    "<D:propfind xmlns:D=\"DAV:\" xmlns:m=\"urn:schemas:httpmail:\">"
    "<D:prop><m:contacts/><m:inbox/><m:msgfolderroot/></D:prop></D:propfind>";

namespace {

QString localPart(const QString& address) {
    return address.left(address.lastIndexOf(u'@'));
}

/// Whether a server may call the mailbox so: by any address of its user, whole or the local part.
bool isNameOf(const engine::Mailbox& mailbox, const QString& name) {
    return std::any_of(mailbox.addresses.begin(), mailbox.addresses.end(),
                       [&](const QString& address) {
                           return address.compare(name, Qt::CaseInsensitive) == 0 ||
                                  localPart(address).compare(name, Qt::CaseInsensitive) == 0;
                       });
}

} // namespace

QString pathName(const engine::Mailbox& mailbox, const QString& domain) {
    for (const QString& address : mailbox.addresses)
        if (!domain.isEmpty() && address.endsWith(u'@' + domain, Qt::CaseInsensitive))
            return localPart(address);
    return mailbox.addresses.value(0);
}

QString mailboxUrl(const QString& host, const QString& name) {
    return u"https://"_s + host + u"/exchange/"_s +
           QString::fromLatin1(QUrl::toPercentEncoding(name, "@")) + u'/';
}

QString folderIn(const Attempt& attempt, const Answer& answer) {
    if (answer.status != 207)
        throw describeStatus(attempt, answer, answer.status);
    const Question question{u"urn:schemas:httpmail:"_s,
                            {u"contacts"_s, u"inbox"_s, u"msgfolderroot"_s},
                            [&](const QString& name) { return isNameOf(attempt.mailbox, name); }};
    Property folder;
    try {
        folder = readProperty(answer.body, question);
    } catch (const Error& error) {
        throw describeFailure(attempt, error.description());
    }
    if (!folder.text.isEmpty())
        return folder.text;
    if (folder.status != 200 && folder.status != 0)
        throw describeStatus(attempt, answer, folder.status);
    throw describeFailure(attempt, u"its answer names no folder"_s);
}

} // namespace rehome::http
