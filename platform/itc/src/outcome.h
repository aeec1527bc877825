// outcome.h: how an attempt to reach another mailbox or process ended.
//
// Private header of platform/itc.
#ifndef ITC_OUTCOME_H
#define ITC_OUTCOME_H

namespace itc {

enum class Outcome {
    kDone,
    kGone,    // there is no such mailbox or process any more
    kFailed,  // it may be there, but memory or descriptors are short; the error text says which
};

}  // namespace itc

#endif
