/* close.pml: the end of a mailbox and the next one in its record, against senders that are late.
 *
 * The owner opens mailbox A with bell 0, closes it at any moment, and opens B with bell 1 in the
 * same record. Two senders found A and may be stopped anywhere on their way, until B is there, or
 * be killed anywhere; one sends to B. Compare Peer::send(), Mailbox::open(), close() and fetch().
 *
 * Here the stack is what it is in memory: a top, a CAS, and links. Every sender has one block.
 *
 * Holds: whenever nothing can move any more, the message to B has been received by B and nothing
 * else has; no block is fetched twice or reached after it went back to its sender; each block of a
 * sender that lives has been fetched or is its sender's again. */

#define kNone 0
#define kA 1
#define kB 2
#define kClosed 9

/* The marks of MailboxRecord::bellState. */
#define RINGS 1
#define IS_BEING_STRUCK 2

byte id;            /* MailboxRecord::id */
byte bell;          /* MailboxRecord::bell */
byte stack = kClosed;
byte bellState;
byte link[4];       /* by block; blocks are 1, 2, 3 */
byte receiver[4];
byte bytes[2];      /* in the FIFO of each bell */

mtype = { mine, onStack, fetched };
mtype block[4] = mine;
bool dead[4];
bool gaveUp[4];     /* did not find its receiver */
bool bReceived;

/* Before a step: it is made, or the process is dead. */
#define OR_DIE :: goto killed

proctype Sender(byte self; byte wanted) {
    byte number, top, state;
    if
    :: id == wanted
    :: id == kB && wanted == kA -> goto gone
    fi;
    if :: number = bell OR_DIE fi;
    if :: d_step { receiver[self] = wanted; top = stack } OR_DIE fi;
    do
    :: top == kClosed -> goto gone
    :: else ->
        if :: link[self] = top OR_DIE fi;
        if
        :: d_step { stack == top -> stack = self; block[self] = onStack }; break
        :: d_step { stack != top -> top = stack }
        OR_DIE
        fi
    od;
    if :: state = bellState OR_DIE fi;
    if
    :: !(state & RINGS) ->
        if :: d_step { state = bellState | IS_BEING_STRUCK; bellState = state } OR_DIE fi
    :: else
    fi;
    if
#ifdef BUG_RINGS_FOR_ANOTHER_BELL
    :: !(state & RINGS) ->
#else
    :: !(state & RINGS) && bell == number ->
#endif
        if :: bytes[number]++ OR_DIE fi;
        if :: d_step { bellState = (bellState == state -> state | RINGS : bellState) } OR_DIE fi
    :: else
    fi;
    goto done;
gone:
    skip;
    d_step { assert(block[self] == mine); gaveUp[self] = true };
    goto done;
killed:
    dead[self] = true;
done:
    skip;
    d_step { number = 0; top = 0; state = 0 }
}

/* What was taken from the stack is walked at leisure; nobody else reaches it. */
inline walk(top, self) {
    do
    :: top != 0 && top != kClosed ->
        d_step {
            assert(block[top] == onStack);
            block[top] = fetched;
            assert(!(bReceived && receiver[top] == kB));
            bReceived = bReceived || (receiver[top] == kB && self == kB);
            top = link[top]
        }
    :: else -> break
    od;
    top = 0
}

inline fetch(self) {
    d_step { top = stack; stack = 0 };
    walk(top, self)
}

inline silence(number) {
    bytes[number] = 0;
    bellState = (bellState | RINGS | IS_BEING_STRUCK) + 1
}

/* receive() of the users, until they close. */
inline receiveSome(number, self) {
    fetch(self);
    silence(number);
    fetch(self)
}

proctype Owner() {
    byte top;
    bell = 0;
    silence(0);
    stack = 0;
    id = kA;
    do
    :: bytes[0] > 0 -> receiveSome(0, kA)
    :: break
    od;
    id = kNone;
#ifdef BUG_NO_CLOSED_MARK
    d_step { top = stack; stack = 0 };
#else
    d_step { top = stack; stack = kClosed };
#endif
    walk(top, kA);
#ifdef BUG_STATE_BEGINS_ANEW
    bellState = 0;
    bell = 1;
    bytes[1] = 0;
#else
    bell = 1;
    silence(1);
#endif
    stack = 0;
    id = kB;
end:
    do
    :: bytes[1] > 0 -> receiveSome(1, kB)
    od
}

proctype Judge() {
    byte count;
    timeout;
    assert(id == kB);
    assert(dead[3] || bReceived);
    assert(dead[3] || block[3] == fetched);
    assert(dead[1] || (gaveUp[1] -> block[1] == mine : block[1] != mine));
    assert(dead[2] || (gaveUp[2] -> block[2] == mine : block[2] != mine));
    /* What a sender to A left on the stack of B stays until the next one rings: it is no message
     * of B's. Whatever was pushed and not fetched can be reached. */
    d_step {
        count = 0;
        do
        :: stack != 0 -> count++; stack = link[stack]
        :: else -> break
        od;
        assert(count == (block[1] == onStack) + (block[2] == onStack) + (block[3] == onStack))
    }
}

init {
    atomic {
        run Owner();
        run Sender(1, kA);
        run Sender(2, kA);
        run Sender(3, kB);
        run Judge()
    }
}
