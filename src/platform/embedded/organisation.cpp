#include "platform/embedded/organisation.h"

#include "platform/embedded/address_index.h"
#include "platform/embedded/filter.h"
#include "platform/embedded/guid_base.h"
#include "platform/embedded/organisation_content.h"
#include "platform/embedded/recipient_policy.h"
#include "platform/embedded/rehearsal_attributes.h"
#include "platform/error.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

using Place = ObjectTree::Place;

using engine::AttributeKind;

/// The values that an attribute has after values are deleted or added.
QList<QByteArray> combined(QList<QByteArray> before, const QList<QByteArray>& values,
                           engine::Change::Kind kind, const QString& attempt) {
    for (const QByteArray& value : values) {
        const bool adds = kind == engine::Change::Kind::Add;
        if (before.contains(value) == adds)
            throw engine::ChangedSince(
                (adds ? u"%1: it has the value already."_s : u"%1: it lacks the value."_s)
                    .arg(attempt));
        if (adds)
            before.append(value);
        else
            before.removeOne(value);
    }
    return before;
}

/// What was found at the time of the search; entries are made of it one at a time.
class Found : public engine::Entries {
public:
    Found(std::vector<std::shared_ptr<const Object>> objects, Selection selection)
        : m_objects(std::move(objects)), m_selection(std::move(selection)) {}

    std::optional<engine::Entry> next() override {
        if (m_next == m_objects.size())
            return std::nullopt;
        return m_selection.entry(*m_objects[m_next++]);
    }

private:
    std::vector<std::shared_ptr<const Object>> m_objects;
    Selection m_selection;
    size_t m_next = 0;
};

} // namespace

class Organisation::Directory {
public:
    explicit Directory(std::unique_ptr<OrganisationContent> read) : content(std::move(read)) {
        for (const AttributeKind& known :
             engine::attributeKinds()) // although the file may not hold them
            if (known.is(AttributeKind::OneValue))
                content->names.number(known.name);
    }

    /// Throws Error where there is no such object, beginning with `attempt`.
    Place placeOf(const QString& name, const QString& attempt) const {
        const Place place = find(name);
        if (place == ObjectTree::Nowhere || !content->tree.at(place).object)
            throw Error(u"%1: there is no such object in %2."_s.arg(attempt, content->source));
        return place;
    }

    /// Also of a name that only leads to objects.
    Place find(const QString& name) const {
        return name.startsWith(u'<')
                   ? content->byGuid.value(guidOfBase(name), ObjectTree::Nowhere)
                   : content->tree.find(content->comparison.nameKey(name.toUtf8()));
    }

    const Object& objectAt(Place place) const { return *content->tree.at(place).object; }

    /// What an attribute that names objects is given: the object's own name.
    QByteArray linkTo(const QString& name, const QString& attempt) const {
        return objectAt(placeOf(name, u"%1 to \"%2\""_s.arg(attempt, name)))
            .distinguishedName.toUtf8();
    }

    std::vector<Place> matching(Place base, engine::Scope scope, Filter& filter) const {
        const ObjectTree& tree = content->tree;
        std::vector<Place> places;
        const auto take = [&](Place place) {
            if (filter.matches(objectAt(place)))
                places.push_back(place);
        };
        if (const auto keys = AddressIndex::keys(filter.tree())) {
            for (const Place place : addressIndex().places(*keys))
                if (tree.isWithin(base, scope, place))
                    take(place);
        } else {
            tree.walk(base, scope, take);
        }
        std::sort(places.begin(), places.end(),
                  [&](Place a, Place b) { return tree.at(a).line < tree.at(b).line; });
        places.erase(std::unique(places.begin(), places.end()), places.end());
        return places;
    }

    void change(Place place, const Changes& changes) {
        auto changed = std::make_shared<Object>(objectAt(place));
        for (const auto& [attribute, values] : changes)
            changed->setValues(content->names.number(attribute.toUtf8()), values);
        if (m_addressIndex) {
            m_addressIndex->remove(place, objectAt(place));
            m_addressIndex->add(place, *changed);
        }
        content->tree.replace(place, std::move(changed));
    }

    std::unique_ptr<OrganisationContent> content;
    QHash<Place, int> creations;

private:
    AddressIndex& addressIndex() const {
        if (!m_addressIndex) {
            m_addressIndex.emplace(content->names);
            for (Place place = 0; place < content->tree.end(); ++place)
                if (content->tree.at(place).object)
                    m_addressIndex->add(place, objectAt(place));
        }
        return *m_addressIndex;
    }

    /// Made when a search first asks for it.
    mutable std::optional<AddressIndex> m_addressIndex;
};

Organisation::Organisation(std::unique_ptr<OrganisationContent> content)
    : m_directory(std::make_unique<Directory>(std::move(content))) {
}

Organisation::~Organisation() = default;

engine::Entry Organisation::rootObject() const {
    const OrganisationContent& content = *m_directory->content;
    return Selection({}, content.names).entry(*content.root);
}

std::optional<engine::Entry> Organisation::object(const QString& name) const {
    const OrganisationContent& content = *m_directory->content;
    const Place place = m_directory->find(name);
    if (place == ObjectTree::Nowhere || !content.tree.at(place).object)
        return std::nullopt;
    return Selection({}, content.names).entry(m_directory->objectAt(place));
}

std::unique_ptr<engine::Entries> Organisation::search(const engine::SearchRequest& request) const {
    const OrganisationContent& content = *m_directory->content;
    Filter filter(request.filter, content.comparison, content.names, content.categories);
    const Selection selection(request.attributes, content.names);
    std::vector<std::shared_ptr<const Object>> objects;
    if (request.base.isEmpty()) {
        if (request.scope != engine::Scope::Base)
            throw Error(u"A search without a base reads the root object and nothing below it."_s);
        objects.push_back(content.root);
        return std::make_unique<Found>(std::move(objects), selection);
    }

    const QString attempt = u"Searching \"%1\""_s.arg(request.base);
    // A snapshot may hold a naming context's objects without its head.
    Place base = m_directory->find(request.base);
    if (base == ObjectTree::Nowhere || request.scope == engine::Scope::Base ||
        !content.tree.at(base).isContext)
        base = m_directory->placeOf(request.base, attempt);

    try {
        for (const Place place : m_directory->matching(base, request.scope, filter))
            objects.push_back(content.tree.at(place).object);
    } catch (const Error& error) {
        throw Error(
            u"%1 with the filter \"%2\": %3"_s.arg(attempt, request.filter, error.description()));
    }
    return std::make_unique<Found>(std::move(objects), selection);
}

void Organisation::modify(const QString& name, const QList<engine::Change>& asked) {
    const Place place = m_directory->placeOf(name, u"Changing \"%1\""_s.arg(name));
    const QString user = m_directory->objectAt(place).distinguishedName;

    Changes changes;
    for (const auto& [attribute, values, kind] : asked) {
        const QString attempt = u"Setting %1 of %2"_s.arg(attribute, user);
        if (!ldb_valid_attr_name(attribute.toUtf8().constData()))
            throw Error(u"%1: that is not an attribute's name."_s.arg(attempt));
        const AttributeKind& known = engine::attributeKind(attribute.toUtf8());
        if (known.is(AttributeKind::ReadOnly) || isRehearsalAttribute(attribute))
            throw Error(
                u"%1: the directory does not let this attribute be written."_s.arg(attempt));
        QList<QByteArray> written;
        for (const QByteArray& value : values) {
            if (value.isEmpty())
                throw Error(u"%1: an attribute has no empty values."_s.arg(attempt));
            // A snapshot may hold the name of an object that it does not hold; it can be deleted.
            written.append(kind != engine::Change::Kind::Delete && known.holdsDns()
                               ? m_directory->linkTo(QString::fromUtf8(value), attempt)
                               : value);
        }
        if (hasTwice(written))
            throw Error(u"%1: a value is given twice."_s.arg(attempt));
        if (kind != engine::Change::Kind::Replace) {
            const auto changed = changes.find(attribute);
            written = combined(changed == changes.end() ? object(user)->values(attribute)
                                                        : changed->second,
                               written, kind, attempt);
            if (written.size() > 1 && known.is(AttributeKind::OneValue))
                throw engine::ChangedSince(u"%1: it has a value already."_s.arg(attempt));
        }
        changes.insert_or_assign(attribute, written);
    }
    if (changes.empty())
        return;
    applyRecipientPolicy(*object(user), changes);
    m_directory->change(place, changes);

    const auto home = changes.find(u"homeMDB"_s);
    if (home != changes.end() && !home->second.isEmpty())
        ++m_directory->creations[place];
}

int Organisation::mailboxCreations(const QString& name) const {
    return m_directory->creations.value(m_directory->find(name));
}

} // namespace rehome::embedded
