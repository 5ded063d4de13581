#include "platform/embedded/rehearsal_attributes.h"

#include "platform/error.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

const QStringList& allAttributes() {
    static const QStringList names{u"rehomeLocalServer"_s, u"rehomeOpensAfter"_s,
                                   u"rehomePolicyAddress"_s, u"rehomeServerDown"_s,
                                   u"rehomeStoreState"_s};
    return names;
}

[[noreturn]] void fail(const engine::Entry& object, const QString& attribute,
                       const QString& allowed) {
    throw Error(u"%1: %2 must be %3, not \"%4\"."_s.arg(
        object.distinguishedName.isEmpty() ? u"The root object"_s : object.distinguishedName,
        attribute, allowed, object.text(attribute)));
}

} // namespace

RehearsalAttributes rehearsalAttributes(const engine::Entry& object) {
    RehearsalAttributes result;
    const auto text = [&](const QString& name) { return object.text(name); };

    if (const QString name = u"rehomeStoreState"_s; !text(name).isNull()) {
        static const QStringList states{u"0"_s, u"1"_s, u"2"_s, u"3"_s};
        const auto state = states.indexOf(text(name));
        if (state < 0)
            fail(object, name, u"0 (online), 1 (offline), 2 (mounting) or 3 (dismounting)"_s);
        result.storeState = static_cast<qint16>(state);
    }
    if (const QString name = u"rehomeServerDown"_s; !text(name).isNull()) {
        if (text(name) != u"TRUE" && text(name) != u"FALSE")
            fail(object, name, u"TRUE or FALSE"_s);
        result.serverDown = text(name) == u"TRUE";
    }
    if (const QString name = u"rehomeOpensAfter"_s; text(name) == u"never") {
        result.opensAfter.reset();
    } else if (!text(name).isNull()) {
        bool valid = false;
        result.opensAfter = std::chrono::seconds(text(name).toUInt(&valid));
        if (!valid)
            fail(object, name, u"a number of seconds or \"never\""_s);
    }
    return result;
}

void checkRehearsalAttributes(const engine::Entry& object) {
    for (const auto& [name, values] : object.attributes()) {
        if (!isRehearsalAttribute(name))
            continue;
        if (!allAttributes().contains(name, Qt::CaseInsensitive))
            throw Error(u"%1: the rehearsal knows no attribute %2, only %3."_s.arg(
                object.distinguishedName, name, allAttributes().join(u", "_s)));
        if (values.size() != 1)
            fail(object, name, u"one value"_s);
    }
    rehearsalAttributes(object);
}

bool isRehearsalAttribute(const QString& name) {
    return name.startsWith(u"rehome"_s, Qt::CaseInsensitive);
}

} // namespace rehome::embedded
