/* bell.pml: push, take, strike and clear, with senders killed between any two steps.
 *
 * Two senders, one of which sends twice, may each end after any of their steps; a third comes when
 * both are done or dead, and lives; or it does not come. The owner waits for its descriptor, takes one
 * message per wake-up, and leaves the others in its private queue, as a filter would. Compare
 * bell.cc, Mailbox::receive() and Mailbox::settle().
 *
 * Holds: whenever nothing can move any more, every message of a sender that lived has been
 * received; if the third came, so has that of a sender that was killed before it rang. Nothing is
 * received twice.
 *
 * Each -DBUG_... puts in a mistake that the search must find. */

byte stack;          /* one bit per message that was pushed and not fetched */
byte bellState;      /* MailboxRecord::bellState */
byte bytes;          /* in the FIFO */
byte pushed;         /* one bit per message */
byte sent;           /* one bit per message whose sender has done all it has to do */
byte ended;          /* senders that are done or dead */
byte received;       /* one bit per message */

byte queue;          /* the owner's private queue, one bit per message */
bool isRinging;      /* Mailbox::isRinging_ */

#define BIT(message) (1 << (message))
/* Before a step: it is made, or the process is dead. */
#define OR_DIE :: goto dead

/* The marks of MailboxRecord::bellState. */
#define RINGS 1
#define IS_BEING_STRUCK 2
#define MARKS 3

/* fetch_or(): says that a stroke is under way. */
inline announce(state) {
    d_step { state = bellState | IS_BEING_STRUCK; bellState = state }
}

/* The CAS: fails if the owner has moved the state. */
inline mark(state) {
    d_step { bellState = (bellState == state -> state | RINGS : bellState) }
}

inline push(message) {
    d_step { stack = stack | BIT(message); pushed = pushed | BIT(message) }
}

inline ring(state) {
    if
    :: !(state & RINGS) ->
        if :: announce(state) OR_DIE fi;
        if
        :: !(state & RINGS) ->
#ifdef BUG_MARK_BEFORE_STROKE
            if :: mark(state) OR_DIE fi;
            if :: bytes++ OR_DIE fi
#else
            if :: bytes++ OR_DIE fi;
            if :: mark(state) OR_DIE fi
#endif
        :: else
        fi
    :: else
    fi
}

proctype Sender(byte message; byte count) {
    byte state;
    do
    :: count > 0 ->
#ifdef BUG_STATE_LOADED_BEFORE_PUSH
        if :: state = bellState OR_DIE fi;
        if :: push(message) OR_DIE fi;
#else
        if :: push(message) OR_DIE fi;
        if :: state = bellState OR_DIE fi;
#endif
        ring(state);
        d_step { sent = sent | BIT(message); message++; count--; state = 0 }
    :: else -> break
    od;
dead:
    skip;
    d_step { message = 0; count = 0; state = 0; ended++ }
}

proctype LateSender(byte message) {
    byte state;
    ended == 2;
    if
    :: skip
    :: goto absent
    fi;
    push(message);
    state = bellState;
    if
    :: !(state & RINGS) ->
        announce(state);
        if
        :: !(state & RINGS) ->
            bytes++;
            mark(state)
        :: else
        fi
    :: else
    fi;
    sent = sent | BIT(message);
absent:
    skip
}

/* Mailbox::fetch(): the look at the stack and the exchange. */
inline fetch() {
    if
    :: stack != 0 ->
        d_step {
            assert((queue & stack) == 0 && (received & stack) == 0);
            queue = queue | stack;
            stack = 0
        }
    :: else
    fi
}

/* silenceBell() and the look after it. A byte may arrive between the last read and the state. */
inline lookAfterSilence() {
#ifdef BUG_STATE_BEFORE_READ
    bellState = (bellState | MARKS) + 1;
    bytes = 0;
#else
    bytes = 0;
    bellState = (bellState | MARKS) + 1;
#endif
    isRinging = false;
#ifndef BUG_NO_SECOND_LOOK
    fetch()
#endif
}

/* Mailbox::isRinging(): the mark stays until the owner itself moves the state. */
inline lookWhetherRinging() {
#ifdef BUG_HINT_TAKEN_FOR_A_BYTE
    isRinging = (isRinging || (bellState & MARKS))
#else
    isRinging = (isRinging || (bellState & RINGS))
#endif
}

/* Mailbox::mayRing() */
#define MAY_RING (isRinging || (bellState & MARKS))

/* Any one of the queue, as a filter may have it. */
inline takeOne() {
    if
    :: queue & 1 -> queue = queue - 1; received = received | 1
    :: queue & 2 -> queue = queue - 2; received = received | 2
    :: queue & 4 -> queue = queue - 4; received = received | 4
    :: queue & 8 -> queue = queue - 8; received = received | 8
    fi
}

proctype Owner() {
end:
    do
    :: bytes > 0 ->  /* poll() reports the descriptor */
        if
        :: queue == 0 ->
            fetch();
            if
            :: queue == 0 && MAY_RING -> lookAfterSilence()
            :: else
            fi;
            if
            :: queue == 0 && bytes > 0 -> lookAfterSilence()  /* Mailbox::awaitEvents() */
            :: else
            fi
        :: else
        fi;
        if
        :: queue != 0 -> d_step { takeOne() }
        :: else
        fi;
        /* settle() */
        if
        :: queue == 0 && MAY_RING -> lookAfterSilence()
        :: else
        fi;
#ifndef BUG_NO_STROKE_FOR_THE_REST
        if
        :: queue != 0 ->
            lookWhetherRinging();
            if
            :: !isRinging -> bytes++; isRinging = true
            :: else
            fi
        :: else
        fi
#endif
    od
}

/* When nothing else can move. */
proctype Judge() {
    timeout;
    assert(queue == 0);
    assert((sent & received) == sent);
    assert(!(sent & BIT(3)) || received == pushed)
}

init {
    atomic {
        run Owner();
        run Sender(0, 2);
        run Sender(2, 1);
        run LateSender(3);
        run Judge()
    }
}
