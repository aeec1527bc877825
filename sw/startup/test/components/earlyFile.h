// earlyFile.h: a component of the test program that registers before anything else in it.
//
// Test support.
//
// One thread at a time.
#ifndef QUORIA_STARTUP_TEST_COMPONENTS_EARLYFILE_H
#define QUORIA_STARTUP_TEST_COMPONENTS_EARLYFILE_H

namespace QuoriaTest {

int startsOfTheEarlyComponent();

}  // namespace QuoriaTest

#endif
