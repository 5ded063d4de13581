#include "platform/embedded/recipient_policy.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

void applyRecipientPolicy(const engine::Entry& user, Changes& changes) {
    const auto home = changes.find(u"homeMDB"_s);
    const QByteArray address = user.text(u"rehomePolicyAddress"_s).toUtf8();
    if (home == changes.end() || home->second.isEmpty() || address.isEmpty())
        return;

    const auto staged = changes.find(u"proxyAddresses"_s);
    const auto before = staged == changes.end() ? user.values(u"proxyAddresses"_s) : staged->second;
    QList<QByteArray> proxies{"SMTP:" + address};
    for (const QByteArray& proxy : before) {
        const bool smtp = proxy.left(5).compare("smtp:", Qt::CaseInsensitive) == 0;
        if (!smtp)
            proxies.append(proxy);
        else if (proxy.mid(5).compare(address, Qt::CaseInsensitive) != 0)
            proxies.append("smtp:" + proxy.mid(5));
    }
    changes[u"proxyAddresses"_s] = proxies;
    changes[u"mail"_s] = {address};
}

} // namespace rehome::embedded
