// IDirectoryObject and IADs over LDAP.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "platform/directory.h"
#include "platform/posix/ldap_search.h"
#include "platform/posix/search_request.h"
#include "platform/posix/value_decoding.h"

namespace zorvan::platform::posix {

// The request that reads the named attributes (all of them when there are none) of an object.
SearchRequest ObjectRequest(const LdapTarget& target, std::span<const std::u16string_view> names);

// Reads the target's entry as ReadEntry does. Where the answer is a referral it is followed once,
// and the target is then where it led to.
HResult ReadTarget(LdapTarget& target, SearchRequest request, Message& chain, LDAPMessage*& entry,
                   ExtendedError& error);

// Copies an entry of the target's server into a set, by way of a decoder that can be used again.
// The distinguished name is put in when it is among the names.
void FillAttributeSet(const LdapTarget& target, LDAPMessage* message, EntryDecoder& entry,
                      std::span<const std::u16string_view> names, AttributeSet& attributes);

class LdapObject final : public DirectoryObject {
 public:
  explicit LdapObject(LdapTarget target);

  HResult GetObjectAttributes(std::span<const std::u16string_view> names,
                              AttributeSet& attributes) override;

 private:
  LdapTarget target_;
};

// The first Get reads all attributes of the object, the later ones find theirs in what was read.
class LdapPropertyObject final : public PropertyObject {
 public:
  explicit LdapPropertyObject(LdapTarget target);

  HResult Get(std::u16string_view attribute, AttributeSet& value) override;
  HResult QueryDirectorySearch(std::unique_ptr<DirectorySearch>& search) override;

 private:
  HResult GetInfo();

  LdapTarget target_;
  Message chain_;
  EntryDecoder entry_;
};

}  // namespace zorvan::platform::posix
