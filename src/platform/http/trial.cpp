#include "platform/http/trial.h"

#include "platform/http/mailbox_path.h"
#include "platform/http/web_service.h"

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

QString tryServer(engine::Session& directory, const QString& server, const HttpSettings& settings) {
    const QString counts = u"%1: a mailbox that is moved there counts as opened by the directory "
                           "alone."_s;
    const WebService service = webServiceOf(directory, server);
    if (service.withdrawn)
        return counts.arg(u"No HTTP virtual server of %1 has a virtual directory"_s.arg(server));
    const QString name = u"rehome-check-asks-for-nobody"_s;
    const Attempt attempt{{u"nobody (a trial)"_s, {name}, {}, server, false},
                          service.host,
                          mailboxUrl(service.host, name)};
    WebClient client(settings, settings.attemptLimit, nullptr);
    client.propfind(attempt.url.toLatin1(), FolderQuestion);
    std::optional<Answer> answer;
    try {
        // The Kerberos library alone bounds how long a ticket takes.
        answer = client.await(QDeadlineTimer(2 * settings.attemptLimit));
    } catch (const NoAnswer& failure) {
        if (failure.kind() == NoAnswer::Kind::Refused && service.withoutHttps)
            return counts.arg(u"%1 offers no https"_s.arg(server));
        if (failure.kind() != NoAnswer::Kind::TooLong)
            throw describeNoAnswer(attempt, failure, settings);
        return {};
    }
    if (!answer)
        throw describeNoAnswer(attempt, {NoAnswer::Kind::Late, u"no answer"_s}, settings);
    for (const int status : {401, 403, 405, 440, 501})
        if (answer->status == status)
            throw describeStatus(attempt, *answer, status);
    return {};
}

} // namespace rehome::http
