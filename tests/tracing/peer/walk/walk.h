// walk.h: the ways through the library on which it says everything that it has to say in a trace.
//
// Each way is walked once, by a thread of its own, whose loop and mailbox it may use as it likes.
// What turns out otherwise than expected throws std::runtime_error.
#ifndef TRACEWALK_WALK_H
#define TRACEWALK_WALK_H

#include <string>

namespace TraceWalk {

void walkEventLoop();
void walkTimers();
void walkActiveObject();
void walkMessages();
void walkStartup();
void walkCommands();
void walkConcurrentCommands();

// A process has one startup and one active object for commands; these two need another process.
void walkFailedStartup();
void walkRegistryWithoutMailbox();

// Tells the test, on standard output, what stands for `name` in the texts that it expects.
void tell(const std::string& name, const std::string& value);
void require(bool condition, const std::string& what);

}  // namespace TraceWalk

#endif
