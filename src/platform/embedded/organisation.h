#pragma once

#include "platform/engine/engine.h"

#include <QString>

#include <memory>
#include <optional>

namespace rehome::embedded {

struct OrganisationContent;

/// A directory held in process. It behaves as Active Directory does where the tool can tell. Names
/// given to it are distinguished names in any spelling, or "<GUID=…>"; it hands them on in Active
/// Directory's (engine::directorySpelling).
///
/// Attributes of the rehearsal's own stand for what no directory tells:
/// - rehomeStoreState on a mailbox store: 0 to 3 (default 0);
/// - rehomeServerDown on a server: TRUE or FALSE;
/// - rehomePolicyAddress on a user: the address that the recipient policy gives when the user's
///   mailbox is created;
/// - rehomeOpensAfter on a user: whole seconds from the first attempt to open a mailbox that was
///   created, or "never";
/// - rehomeLocalServer on the root object: the name of the local server.
class Organisation {
public:
    /// See readOrganisation.
    explicit Organisation(std::unique_ptr<OrganisationContent> content);
    ~Organisation();

    engine::Entry rootObject() const;
    /// The object with all its attributes, none where there is no such object.
    std::optional<engine::Entry> object(const QString& name) const;

    /// What the directory holds now, in the order of the file. As Session::search.
    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) const;
    /// As Session::modify. Attributes that a directory maintains itself are refused, and so are
    /// values of homeMDB and homeMTA that name no object.
    void modify(const QString& name, const QList<engine::Change>& changes);

    /// How often a mailbox store was set on the object; grows with each modify that does so.
    int mailboxCreations(const QString& name) const;

private:
    class Directory;
    std::unique_ptr<Directory> m_directory;
};

} // namespace rehome::embedded
