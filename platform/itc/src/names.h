// names.h: who has which name, and who waits for one.
//
// Private header of platform/itc.
//
//   names/<name>/<sequence>-<id>        the mailbox <id> has the name; the lowest sequence is
//   oldest names/<name>/note-<id>-<request>    the mailbox <id> waits for a holder
//   process-<slot>/name-<id>-<n>        link to the n-th name of <id>, for its own sweep and
//   listing process-<slot>/note-<id>-<request>  the same for a note
//
// The link is made before what it points to and removed after it, so that the traces of a killed
// process are always found. Who waits leaves its note and then looks for a holder; who takes a name
// takes it and then looks for notes: one of the two always sees the other.
#ifndef ITC_NAMES_H
#define ITC_NAMES_H

#include "domain.h"

#include <cstdint>
#include <functional>
#include <string>

namespace itc {

// The name as it stands in a path; "" for one that can't be used (the error text says why).
std::string encodeName(const char* name);
std::string decodeName(const std::string& encoded);

// Gives `mailbox` the name `encoded` as its `number`-th one (counted from 0).
bool takeName(const Domain& domain, std::uint32_t mailbox, const std::string& encoded,
              std::uint32_t number);
// Takes the `number`-th name of `mailbox` away.
void dropName(const Domain& domain, std::uint32_t mailbox, std::uint32_t number);
// The encoded `number`-th name of `mailbox`, "" if it has none.
std::string nameOf(const Domain& domain, std::uint32_t mailbox, std::uint32_t number);

// What is under a name: that a mailbox has it, or waits for it.
struct Entry {
    std::string name;  // encoded; "" for no entry
    std::string own;   // its own name, in the folder of that one
};
// The entry that a link in the folder of a process points to. Other members may have written it.
Entry readEntry(const Domain& domain, const std::string& link);
// Removes the entry, and the folder around it if it was the last one, and the link. What is gone
// already is as good.
void removeEntry(const Domain& domain, const Entry& entry, const std::string& link);

// The mailbox that has had the name longest, 0 if none has it. Sweeps the dead whom it meets.
std::uint32_t oldestHolder(Domain& domain, const std::string& encoded);

bool leaveNote(const Domain& domain, const std::string& encoded, std::uint32_t mailbox,
               std::uint32_t request);
void removeNote(const Domain& domain, const std::string& encoded, std::uint32_t mailbox,
                std::uint32_t request);
void forEachNote(const Domain& domain, const std::string& encoded,
                 const std::function<void(std::uint32_t mailbox, std::uint32_t request)>& visit);

}  // namespace itc

#endif
