// doctor.h: what is the matter with the domain.
//
// Private header of rci.
#ifndef RCI_DOCTOR_H
#define RCI_DOCTOR_H

namespace Rci {

// Looks at the domain and its surroundings and writes what it finds to standard output: for people
// a line each, for programs a JSON array of objects with the keys level ("ok", "note", "problem"),
// topic, text and what belongs to the topic. Returns the exit code. Throws OutputFailed, and
// std::exception when it can't do its work.
int examineDomain(bool asJson);

}  // namespace Rci

#endif
