#include "platform/embedded/organisation.h"

#include "platform/embedded/database.h"
#include "platform/embedded/guid_base.h"
#include "platform/embedded/ldif_records.h"
#include "platform/embedded/rehearsal_attributes.h"
#include "platform/engine/escape.h"
#include "platform/engine/guid.h"
#include "platform/error.h"

#include <QFile>
#include <QHash>
#include <QUuid>

#include <algorithm>
#include <set>
#include <vector>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

/// Under which this room derives the GUIDs of objects that come without one.
constexpr QUuid guidNamespace(0x5f0b2c1e, 0x8a47, 0x4d3c, 0x9e, 0x61, 0x2b, 0x7d, 0x40, 0x8e, 0x13,
                              0xa6);

constexpr QStringView readOnly[]{u"distinguishedName", u"name", u"objectClass", u"objectGUID"};
constexpr QStringView namesOfObjects[]{u"homeMDB", u"homeMTA"};

bool isOneOf(const auto& table, const QString& attribute) {
    return std::any_of(std::begin(table), std::end(table), [&](QStringView name) {
        return name.compare(attribute, Qt::CaseInsensitive) == 0;
    });
}

engine::Entry onlyRequested(engine::Entry entry, const QStringList& attributes) {
    if (!attributes.isEmpty() && !attributes.contains(u"*"_s))
        std::erase_if(entry.attributes, [&](const auto& attribute) {
            return !attributes.contains(attribute.first, Qt::CaseInsensitive);
        });
    return entry;
}

/// What was found at the time of the search; the values are taken out one record at a time.
class Found : public engine::Entries {
public:
    struct Record {
        int order = 0;
        QString name;
        const ldb_message* message = nullptr;
    };

    Found(Talloc<ldb_result> result, std::vector<Record> records, QStringList attributes)
        : m_result(std::move(result)), m_records(std::move(records)),
          m_attributes(std::move(attributes)) {}

    std::optional<engine::Entry> next() override {
        if (m_next == m_records.size())
            return std::nullopt;
        const Record& record = m_records[m_next++];
        auto entry = entryOf(*record.message, record.name);
        entry.attributes[u"distinguishedName"_s] = {record.name.toUtf8()};
        return onlyRequested(std::move(entry), m_attributes);
    }

private:
    Talloc<ldb_result> m_result;
    std::vector<Record> m_records;
    QStringList m_attributes;
    size_t m_next = 0;
};

class FoundRoot : public engine::Entries {
public:
    explicit FoundRoot(engine::Entry root) : m_root(std::move(root)) {}
    std::optional<engine::Entry> next() override { return std::exchange(m_root, std::nullopt); }

private:
    std::optional<engine::Entry> m_root;
};

} // namespace

struct Organisation::Content {
    struct Place {
        int order = 0; ///< of the record in the file; also finds its name
        int line = 0;
    };

    explicit Content(const QString& sourceName) : source(sourceName) {}

    [[noreturn]] void failAt(int line, const QString& text) const {
        throw Error(u"%1: %2."_s.arg(ldifPlace(source, line), text));
    }

    void load(const QByteArray& ldif);
    void loadRecord(const LdifRecord& record);
    void loadObject(ldb_message& message, int line);
    void setValue(ldb_message& message, const char* attribute, const QByteArray& value) const;
    void takeNamingContexts();

    /// The object's key. Throws Error where there is none, beginning with `attempt`.
    QByteArray keyOf(const QString& name, const QString& attempt) const;
    /// An empty key where there is no such object.
    QByteArray findKey(const QString& name) const;
    /// What an attribute that names objects is given: the object's name as the file writes it.
    QByteArray linkTo(const QString& name, const QString& attempt) const;
    void resolveCategories(LdbFilter& tree) const;
    bool isElsewhere(ldb_dn& base, ldb_dn& name) const;

    QString source;
    Database database;
    std::optional<engine::Entry> root;
    QStringList names; ///< as written, in the file's order
    QHash<QByteArray, Place> places;
    QHash<QByteArray, QByteArray> keysByGuid;
    std::set<QString, engine::AttributeNameLess> spellings;
    QHash<QByteArray, QString> categories; ///< by key
    std::vector<Talloc<ldb_dn>> namingContexts;
    QHash<QByteArray, int> creations;
};

void Organisation::Content::load(const QByteArray& ldif) {
    const auto records = splitLdif(ldif, source);
    database.load([&] {
        for (const LdifRecord& record : records)
            loadRecord(record);
    });
    if (!root)
        throw Error(u"%1 lacks the root object: the record with an empty \"dn:\" that a search "
                    "with an empty base and the scope \"base\" gives."_s.arg(source));
    takeNamingContexts();
}

void Organisation::Content::loadRecord(const LdifRecord& record) {
    try {
        const auto message = database.readRecord(record.text);
        if (!ldb_dn_is_null(message->dn)) {
            loadObject(*message, record.line);
            return;
        }
        if (root)
            throw Error(u"a second root object"_s);
        root = entryOf(*message, QString());
        checkRehearsalAttributes(*root);
    } catch (const Error& error) {
        QString text = error.description();
        if (text.endsWith(u'.'))
            text.chop(1);
        failAt(record.line, text);
    }
}

void Organisation::Content::loadObject(ldb_message& message, int line) {
    const QString name = QString::fromUtf8(ldb_dn_get_linearized(message.dn));
    const QByteArray key = Database::key(*message.dn);
    if (const auto known = places.constFind(key); known != places.constEnd())
        throw Error(u"a second record of %1; the first is on line %2"_s.arg(
            name, QString::number(known->line)));

    // Kept with the name, where it cannot disagree.
    ldb_msg_remove_attr(&message, "distinguishedName");
    auto entry = entryOf(message, name);
    if (entry.values(u"name"_s).isEmpty())
        setValue(message, "name", engine::firstValue(name).toUtf8());
    QByteArray guid = entry.values(u"objectGUID"_s).value(0);
    if (guid.isEmpty()) {
        guid = engine::octetsFromGuid(QUuid::createUuidV5(guidNamespace, key));
        setValue(message, "objectGUID", guid);
    }
    if (guid.size() != 16)
        throw Error(u"the objectGUID of %1 is %2 bytes long instead of 16"_s.arg(
            name, QString::number(guid.size())));
    if (const auto other = keysByGuid.constFind(guid); other != keysByGuid.constEnd())
        throw Error(u"%1 has the same objectGUID as the object on line %2"_s.arg(
            name, QString::number(places.value(*other).line)));
    checkRehearsalAttributes(entry);
    database.add(message);

    places.insert(key, {static_cast<int>(names.size()), line});
    names.append(name);
    keysByGuid.insert(guid, key);
    for (const auto& [attribute, values] : entry.attributes)
        spellings.insert(attribute);
    const QString category = entry.text(u"objectCategory"_s);
    if (const auto parsed = database.name(category); parsed && !category.isEmpty())
        categories.insert(Database::key(*parsed), category);
}

void Organisation::Content::setValue(ldb_message& message, const char* attribute,
                                     const QByteArray& value) const {
    const auto size = static_cast<size_t>(value.size());
    const ldb_val copy{static_cast<uint8_t*>(talloc_memdup(&message, value.constData(), size + 1)),
                       size};
    if (!copy.data || ldb_msg_add_value(&message, attribute, &copy, nullptr) != LDB_SUCCESS)
        throw std::bad_alloc();
}

void Organisation::Content::takeNamingContexts() {
    const QString required[]{u"defaultNamingContext"_s, u"configurationNamingContext"_s};
    for (const QString& attribute : required)
        if (root->text(attribute).isEmpty())
            throw Error(u"The root object in %1 lacks the attribute %2."_s.arg(source, attribute));
    const QString optional[]{u"schemaNamingContext"_s, u"namingContexts"_s};
    for (const auto& attributes : {QStringList(std::begin(required), std::end(required)),
                                   QStringList(std::begin(optional), std::end(optional))})
        for (const QString& attribute : attributes)
            for (const QByteArray& value : root->values(attribute)) {
                auto name = database.name(QString::fromUtf8(value));
                if (!name)
                    throw Error(u"The attribute %1 of the root object in %2 is not a "
                                "distinguished name: \"%3\"."_s.arg(attribute, source,
                                                                    QString::fromUtf8(value)));
                namingContexts.push_back(std::move(name));
            }
}

QByteArray Organisation::Content::findKey(const QString& name) const {
    if (name.startsWith(u'<'))
        return keysByGuid.value(guidOfBase(name));
    const auto parsed = database.name(name);
    const QByteArray key = parsed ? Database::key(*parsed) : QByteArray();
    return places.contains(key) ? key : QByteArray();
}

QByteArray Organisation::Content::keyOf(const QString& name, const QString& attempt) const {
    const QByteArray key = findKey(name);
    if (key.isEmpty())
        throw Error(u"%1: there is no such object in %2."_s.arg(attempt, source));
    return key;
}

QByteArray Organisation::Content::linkTo(const QString& name, const QString& attempt) const {
    const QByteArray key = keyOf(name, u"%1 to \"%2\""_s.arg(attempt, name));
    return names.at(places.value(key).order).toUtf8();
}

/// A directory takes `objectCategory=person` for the category whose class has that name.
void Organisation::Content::resolveCategories(LdbFilter& tree) const {
    switch (tree.operation) {
    case LDB_OP_AND:
    case LDB_OP_OR:
        for (unsigned i = 0; i < tree.u.list.num_elements; ++i)
            resolveCategories(*tree.u.list.elements[i]);
        return;
    case LDB_OP_NOT:
        resolveCategories(*tree.u.isnot.child);
        return;
    case LDB_OP_EQUALITY:
        break;
    default:
        return;
    }
    const auto equality = tree.u.equality;
    const QByteArray value(reinterpret_cast<const char*>(equality.value.data),
                           static_cast<qsizetype>(equality.value.length));
    if (qstricmp(equality.attr, "objectCategory") != 0 || value.contains('='))
        return;

    // One alternative for each category of that name; none is a filter that matches nothing.
    const auto capacity = static_cast<unsigned>(categories.size());
    auto** alternatives = talloc_zero_array(&tree, LdbFilter*, capacity);
    unsigned count = 0;
    for (const QString& category : categories) {
        const QString shortName = engine::firstValue(category).remove(u'-');
        if (shortName.compare(QString::fromUtf8(value), Qt::CaseInsensitive) != 0)
            continue;
        const QByteArray utf8 = category.toUtf8();
        auto* alternative = talloc_zero(alternatives, LdbFilter);
        alternative->operation = LDB_OP_EQUALITY;
        alternative->u.equality.attr = equality.attr;
        alternative->u.equality.value = {
            reinterpret_cast<uint8_t*>(talloc_strdup(alternative, utf8.constData())),
            static_cast<size_t>(utf8.size())};
        alternatives[count++] = alternative;
    }
    tree.operation = LDB_OP_OR;
    tree.u.list = {count, alternatives};
}

/// Whether the name lies in a naming context beneath the base's: a search does not go there.
bool Organisation::Content::isElsewhere(ldb_dn& base, ldb_dn& name) const {
    return std::any_of(namingContexts.begin(), namingContexts.end(), [&](const auto& context) {
        return ldb_dn_compare_base(context.get(), &name) == 0 &&
               ldb_dn_compare_base(context.get(), &base) != 0;
    });
}

Organisation::Organisation(const QByteArray& ldif, const QString& source)
    : m_content(std::make_unique<Content>(source)) {
    m_content->load(ldif);
}

Organisation::Organisation(Organisation&&) noexcept = default;
Organisation::~Organisation() = default;

Organisation Organisation::read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Error(u"The organisation in %1 cannot be read: %2."_s.arg(path, file.errorString()));
    const QByteArray content = file.readAll();
    if (file.error() != QFileDevice::NoError)
        throw Error(u"The organisation in %1 cannot be read: %2."_s.arg(path, file.errorString()));
    return Organisation(content, path);
}

const engine::Entry& Organisation::rootObject() const {
    return *m_content->root;
}

std::optional<engine::Entry> Organisation::object(const QString& name) const {
    if (m_content->findKey(name).isEmpty())
        return std::nullopt;
    return search({name, engine::Scope::Base, u"(objectGUID=*)"_s, {}})->next();
}

std::unique_ptr<engine::Entries> Organisation::search(const engine::SearchRequest& request) const {
    const Content& content = *m_content;
    const auto filter = content.database.filter(request.filter);
    if (request.base.isEmpty()) {
        if (request.scope != engine::Scope::Base)
            throw Error(u"A search without a base reads the root object and nothing below it."_s);
        return std::make_unique<FoundRoot>(onlyRequested(rootObject(), request.attributes));
    }

    const QString attempt = u"Searching \"%1\""_s.arg(request.base);
    // A snapshot may hold a naming context's objects without its head.
    auto base = content.database.name(request.base);
    const bool isContext =
        base && request.scope != engine::Scope::Base &&
        std::any_of(content.namingContexts.begin(), content.namingContexts.end(),
                    [&](const auto& it) { return ldb_dn_compare(it.get(), base.get()) == 0; });
    if (!isContext) {
        const QByteArray key = content.keyOf(request.base, attempt);
        base = content.database.name(content.names.at(content.places.value(key).order));
    }
    content.resolveCategories(*filter);

    Talloc<ldb_result> result;
    try {
        result = content.database.search(*base, request.scope, *filter);
    } catch (const Error& error) {
        throw Error(
            u"%1 with the filter \"%2\": %3."_s.arg(attempt, request.filter, error.description()));
    }
    std::vector<Found::Record> records;
    for (unsigned i = 0; i < result->count; ++i) {
        ldb_message& message = *result->msgs[i];
        if (content.isElsewhere(*base, *message.dn))
            continue;
        const int order = content.places.value(Database::key(*message.dn)).order;
        records.push_back({order, content.names.at(order), &message});
    }
    std::sort(records.begin(), records.end(),
              [](const auto& a, const auto& b) { return a.order < b.order; });
    return std::make_unique<Found>(std::move(result), std::move(records), request.attributes);
}

void Organisation::modify(const QString& name, const QList<engine::Replacement>& replacements) {
    Content& content = *m_content;
    const QByteArray key = content.keyOf(name, u"Changing \"%1\""_s.arg(name));
    const QString user = content.names.at(content.places.value(key).order);

    Changes changes;
    for (const auto& [attribute, values] : replacements) {
        const QString attempt = u"Setting %1 of %2"_s.arg(attribute, user);
        if (!ldb_valid_attr_name(attribute.toUtf8().constData()))
            throw Error(u"%1: that is not an attribute's name."_s.arg(attempt));
        if (isOneOf(readOnly, attribute) || isRehearsalAttribute(attribute))
            throw Error(
                u"%1: the directory does not let this attribute be written."_s.arg(attempt));
        QList<QByteArray> written;
        for (const QByteArray& value : values) {
            if (value.isEmpty())
                throw Error(u"%1: an attribute has no empty values."_s.arg(attempt));
            written.append(isOneOf(namesOfObjects, attribute)
                               ? content.linkTo(QString::fromUtf8(value), attempt)
                               : value);
        }
        const auto spelling = content.spellings.insert(attribute).first;
        changes.insert_or_assign(*spelling, written);
    }
    if (changes.empty())
        return;
    applyRecipientPolicy(*object(user), changes);

    try {
        content.database.modify(user, changes);
    } catch (const Error& error) {
        throw Error(u"Changing \"%1\": %2."_s.arg(user, error.description()));
    }
    const auto home = changes.find(u"homeMDB"_s);
    if (home != changes.end() && !home->second.isEmpty())
        ++content.creations[key];
}

int Organisation::mailboxCreations(const QString& name) const {
    return m_content->creations.value(m_content->findKey(name));
}

} // namespace rehome::embedded
