/* locate.pml: who waits for a name against who takes it.
 *
 * Two waiters leave a note and then look for a holder; two processes take the name and then look
 * for notes. The first of these drops the name again; each process may be killed between any two steps,
 * which takes its name or note away. Compare Mailbox::locate(), addName() and acceptNotice().
 *
 * Holds: no request is answered twice; whenever nothing can move any more and somebody alive has
 * the name, every waiter alive has its answer. */

#define kWaiters 2
#define kHolders 2

bool note[kWaiters];
bool holds[kHolders];
byte answers[kWaiters];
bool waiterDead[kWaiters];
chan notices[kWaiters] = [kHolders] of { byte };

proctype Waiter(byte self) {
    bool requested, mortal;
    byte holder;
    if
    :: mortal = true
    :: mortal = false
    fi;
#ifdef BUG_LOOK_BEFORE_NOTE
    if :: skip :: mortal -> goto dead fi;
    holder = (holds[0] -> 0 : (holds[1] -> 1 : kHolders));
    if :: skip :: mortal -> goto dead fi;
    note[self] = true;
#else
    if :: skip :: mortal -> goto dead fi;
    note[self] = true;
    if :: skip :: mortal -> goto dead fi;
    holder = (holds[0] -> 0 : (holds[1] -> 1 : kHolders));
#endif
    if
    :: holder == kHolders -> requested = true
    :: else ->
        if :: skip :: mortal -> goto dead fi;
        note[self] = false;
        answers[self]++
    fi;
end:
    do
    :: notices[self] ? holder ->
        if
#ifdef BUG_NO_TABLE
        :: true ->
#else
        :: requested ->
#endif
            requested = false;
            note[self] = false;
            answers[self]++;
            assert(answers[self] == 1)
#ifndef BUG_NO_TABLE
        :: else  /* a second answer */
#endif
        fi
    :: mortal -> goto dead
    od;
dead:
    atomic { waiterDead[self] = true; note[self] = false }
}

inline tell(waiter) {
    if
    :: note[waiter] -> if :: skip :: goto dead fi; notices[waiter] ! self
    :: else
    fi
}

proctype Holder(byte self; bool drops) {
    if :: skip :: goto dead fi;
#ifdef BUG_NOTES_BEFORE_NAME
    tell(0);
    tell(1);
    holds[self] = true;
#else
    holds[self] = true;
    if :: skip :: goto dead fi;
    tell(0);
    tell(1);
#endif
    if
    :: drops -> holds[self] = false
    :: else
    fi;
    goto done;
dead:
    holds[self] = false;
done:
    skip
}

proctype Judge() {
    timeout;
    if
    :: holds[0] || holds[1] ->
        assert(waiterDead[0] || answers[0] == 1);
        assert(waiterDead[1] || answers[1] == 1)
    :: else
    fi
}

init {
    atomic {
        run Judge();
        run Waiter(0);
        run Waiter(1);
        run Holder(0, true);
        run Holder(1, false)
    }
}
