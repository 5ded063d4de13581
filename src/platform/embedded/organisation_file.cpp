#include "platform/embedded/organisation_file.h"

#include "platform/embedded/ldif_reader.h"
#include "platform/embedded/organisation_content.h"
#include "platform/embedded/rehearsal_attributes.h"
#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/guid.h"

#include <QFile>
#include <QUuid>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

/// Under which this room derives the GUIDs of objects that come without one.
constexpr QUuid guidNamespace(0x5f0b2c1e, 0x8a47, 0x4d3c, 0x9e, 0x61, 0x2b, 0x7d, 0x40, 0x8e, 0x13,
                              0xa6);

class Loader {
public:
    Loader(const QByteArray& ldif, const QString& source)
        : m_source(source), m_reader(ldif, source) {
        m_content->source = source;
    }

    std::unique_ptr<OrganisationContent> load() {
        while (const auto record = m_reader.next()) {
            if (record->name.trimmed().isEmpty())
                takeRoot(*record);
            else
                takeObject(*record);
        }
        if (!m_content->root)
            throw Error(u"%1 lacks the root object: the record with an empty \"dn:\" that a search "
                        "with an empty base and the scope \"base\" gives."_s.arg(m_source));
        takeNamingContexts();
        return std::move(m_content);
    }

private:
    void takeRoot(const LdifRecord& record) {
        if (m_content->root)
            m_reader.fail(record.line, u"a second root object"_s);
        const auto root = std::make_shared<Object>(objectOf(record));
        checkRehearsal(*root, record.line);
        m_content->root = root;
    }

    void takeObject(const LdifRecord& record) {
        const QString name = QString::fromUtf8(record.name);
        const QByteArray key = m_content->comparison.nameKey(record.name);
        if (key.isEmpty())
            m_reader.fail(record.line, u"\"%1\" is not a distinguished name in UTF-8"_s.arg(name));
        const auto place = m_content->tree.reach(key);
        if (const auto& known = m_content->tree.at(place); known.object)
            m_reader.fail(record.line, u"a second record of %1; the first is on line %2"_s.arg(
                                           name, QString::number(known.line)));

        auto object = std::make_shared<Object>(objectOf(record));
        object->distinguishedName = engine::directorySpelling(name);
        // Kept with the name, where it cannot disagree.
        object->setValues(m_ownName, {});
        if (!object->find(m_name))
            object->setValues(m_name, {engine::firstValue(name).toUtf8()});
        if (!object->find(m_guid))
            object->setValues(m_guid,
                              {platform::octetsFromGuid(QUuid::createUuidV5(guidNamespace, key))});
        const QByteArray guid = object->values(m_guid).constFirst();
        if (guid.size() != 16)
            m_reader.fail(record.line, u"the objectGUID of %1 is %2 bytes long instead of 16"_s.arg(
                                           name, QString::number(guid.size())));
        if (const auto other = m_content->byGuid.constFind(guid);
            other != m_content->byGuid.constEnd())
            m_reader.fail(record.line, u"%1 has the same objectGUID as the object on line %2"_s.arg(
                                           name, QString::number(m_content->tree.at(*other).line)));
        checkRehearsal(*object, record.line);

        m_content->byGuid.insert(guid, place);
        for (const QByteArray& category : object->values(m_category))
            m_content->categories.insert(category);
        m_content->tree.put(place, std::move(object), record.line);
    }

    Object objectOf(const LdifRecord& record) {
        Object object;
        for (const auto& [attribute, value, line] : record.values) {
            const int number = m_content->names.number(attribute);
            const auto same = [&](const Object::Attribute& it) { return it.number == number; };
            auto at = std::find_if(object.attributes.begin(), object.attributes.end(), same);
            if (at == object.attributes.end())
                at = object.attributes.insert(at, {number, {}});
            at->values.append(taken(m_content->names.at(number), value, line));
        }
        for (auto& [number, values] : object.attributes)
            share(number, values, record.line);
        return object;
    }

    QByteArray taken(const AttributeNames::Name& attribute, const QByteArray& value, int line) {
        const bool isDn = attribute.kind.holdsDns();
        if (!isDn && !attribute.kind.is(engine::AttributeKind::Naming))
            return value;
        if (!value.isValidUtf8())
            m_reader.fail(line, u"the value of %1 is not UTF-8"_s.arg(attribute.text));
        if (!isDn || !value.contains('\\'))
            return value;
        return engine::directorySpelling(QString::fromUtf8(value)).toUtf8();
    }

    /// Most values of classes, stores and servers are those of the object before: sharing them
    /// spares 26 of 136 MB with 32,767 users.
    void share(int number, QList<QByteArray>& values, int line) {
        const auto index = static_cast<size_t>(number);
        if (m_before.size() <= index)
            m_before.resize(index + 1);
        if (m_before[index] != values) {
            if (hasTwice(values))
                m_reader.fail(
                    line, u"a value of %1 is given twice"_s.arg(m_content->names.at(number).text));
            m_before[index] = values;
        }
        values = m_before[index];
    }

    void checkRehearsal(const Object& object, int line) {
        const auto& names = m_content->names;
        if (std::none_of(object.attributes.begin(), object.attributes.end(),
                         [&](const auto& it) { return names.at(it.number).ofRehearsal; }))
            return;
        try {
            checkRehearsalAttributes(Selection({}, names).entry(object));
        } catch (const Error& error) {
            QString text = error.description();
            text.chop(1); // the full stop
            m_reader.fail(line, text);
        }
    }

    void takeNamingContexts() {
        const auto root = Selection({}, m_content->names).entry(*m_content->root);
        const QString required[]{u"defaultNamingContext"_s, u"configurationNamingContext"_s};
        for (const QString& attribute : required)
            if (root.text(attribute).isEmpty())
                throw Error(
                    u"The root object in %1 lacks the attribute %2."_s.arg(m_source, attribute));
        for (const QString& attribute :
             {required[0], required[1], u"schemaNamingContext"_s, u"namingContexts"_s})
            for (const QByteArray& value : root.values(attribute)) {
                const QByteArray key = m_content->comparison.nameKey(value);
                if (key.isEmpty())
                    throw Error(u"The attribute %1 of the root object in %2 is not a "
                                "distinguished name: \"%3\"."_s.arg(attribute, m_source,
                                                                    QString::fromUtf8(value)));
                m_content->tree.makeContext(m_content->tree.reach(key));
            }
    }

    QString m_source;
    LdifReader m_reader;
    std::unique_ptr<OrganisationContent> m_content = std::make_unique<OrganisationContent>();
    const int m_ownName = m_content->names.number("distinguishedName");
    const int m_name = m_content->names.number("name");
    const int m_guid = m_content->names.number("objectGUID");
    const int m_category = m_content->names.number("objectCategory");
    std::vector<QList<QByteArray>> m_before; ///< values by attribute's number
};

} // namespace

Organisation readOrganisation(const QByteArray& ldif, const QString& source) {
    return Organisation(Loader(ldif, source).load());
}

Organisation readOrganisationFile(const QString& path) {
    QFile file(path);
    QByteArray content;
    if (file.open(QIODevice::ReadOnly))
        content = file.readAll();
    if (file.error() != QFileDevice::NoError)
        throw Error(u"The organisation in %1 cannot be read: %2."_s.arg(path, file.errorString()));
    return readOrganisation(content, path);
}

} // namespace rehome::embedded
