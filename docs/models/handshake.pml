/*
 * Subscribe, first notification, time-out, disconnect, unsubscribe, stop and destruction, between four threads:
 *
 *   Application  SubscribeClampControl(), once or twice, and perhaps an unsubscribe after it
 *   Executor     the "zebExecutor": every handler, and so every callback
 *   Io           the I/O thread, with the bus behind it; the answers to findFirst come through it here too
 *   Stopper      another thread of the application, which stops or destroys the client, or does neither
 *
 * Every access to something that two threads share is a step of its own, unless it is one atomic operation or
 * stands under one lock in the code. README.md says what is checked, and which part of the code is which.
 *
 * PATIENT makes time limits run out only when nothing else can happen; without it they may at any time. The other
 * names that are asked for with #ifdef are mistakes (scripts/check-models requires each to be found) and witnesses.
 */

#ifndef SUBSCRIBES
#define SUBSCRIBES 1    /* at most 2 */
#endif
#ifndef CONNECTIONS
#define CONNECTIONS 2
#endif
#ifndef NOTIFICATIONS
#define NOTIFICATIONS 2 /* of each subscription */
#endif
#define NONE 2          /* no subscription */

#ifdef NO_TIME_LIMIT
#define TIME_IS_OVER false
#elif defined(PATIENT)
#define TIME_IS_OVER timeout
#else
#define TIME_IS_OVER true
#endif

mtype = {connected, disconnected, found, notification}; /* tasks */
mtype = {unknown, timedOut, succeeded, ended};          /* outcomes; "ended" ends a wait early */
mtype = {lookUp, firstNotification};                    /* what a call waits for */

/* CallbackFuture: a promise, its future, and the atomic value. Two threads may set it. */
typedef Future {
    bool isPromised;
    bool isFetched;
    bool isKnown;
    mtype value
}

inline setFuture(future, what) {
    if
    :: future.isKnown
    :: else ->
#ifdef PROMISE_SET_TWICE
        d_step { assert(!future.isPromised); future.value = what; future.isPromised = true };
        future.isKnown = true
#else
        if
        :: d_step { !future.isPromised -> future.value = what; future.isPromised = true };
            future.isKnown = true
        :: else /* another thread was faster */
        fi
#endif
    fi
}

inline getFuture(future, result) {
    if
    :: future.isKnown -> result = future.value
    :: else ->
        assert(!future.isFetched); /* no_state */
        d_step { future.isPromised -> result = future.value; future.isFetched = true };
        future.isKnown = true
    fi
}

typedef Subscription {
    bool isServed;  /* the bus has it: it may send */
    bool isActive;  /* the platform's record: handlers are called */
    bool hasEnded;  /* what ElementSubscription shares with its handler */
    mtype answer;   /* to findFirst: succeeded, or ended; the first one counts */
    bool isAsked;   /* findFirst has been sent */
    bool wasTold;   /* the application has been called for it */
    bool isRefused; /* an empty uuid was returned, or something thrown */
    byte sent;
    Future notified;
    Future outcome
}

Subscription subscriptions[2];
chan queue = [10] of {mtype, byte}; /* longer than all that is ever queued */
bool executorIsStopped, executorHasEnded;
bool ioIsStopped;
bool isOpen;             /* the WebSocket */
byte connection;         /* its number */
byte service;            /* ClampControlAccess::service_: the connection it belongs to, 0 for null */
byte kept = NONE;        /* ClampControlAccess::subscription_ */
bool gateIsClosed;
byte insideGate;
bool isToldConnected;    /* what the application knows */
bool clientHasEnded;     /* Stop, or the destructor, has returned */
bool executorWaits;      /* for an outcome */
byte waitsFor;
byte waitingCall = NONE; /* WaitingCalls: there is one call at a time */
mtype waitingFor;
bool callsAreClosed;

inline give(which, what) {
    d_step {
        if
        :: subscriptions[which].answer == 0 -> subscriptions[which].answer = what
        :: else
        fi
    }
}

inline wake(which, kind) {
    if
    :: kind == lookUp -> give(which, ended)
    :: else -> setFuture(subscriptions[which].notified, ended)
    fi
}

/* WaitingCalls::Call: its registration, and the wake-up at once if the calls are closed. */
inline beginWait(which, kind) {
    atomic {
        if
        :: callsAreClosed -> wake(which, kind)
        :: else -> waitingCall = which; waitingFor = kind
        fi
    }
}

inline forgetWait() {
    d_step { waitingCall = NONE; waitingFor = 0 }
}

/* WaitingCalls::end(). One step, because nobody sees what is between taking the call out and waking it up. */
inline endWaits() {
    atomic {
        if
        :: waitingCall != NONE -> wake(waitingCall, waitingFor); forgetWait()
        :: else
        fi
    }
}

/* WaitingCalls::close() */
inline closeWaits() {
    atomic { callsAreClosed = true; endWaits() }
}

inline addTask(kind, which) {
    if
    :: !executorIsStopped -> queue!kind, which
    :: else /* dropped */
    fi
}

/* Releasing, or ending, a subscription that has its handle. */
inline endSubscription(which) {
    subscriptions[which].hasEnded = true;
    subscriptions[which].isActive = false;
    subscriptions[which].isServed = false
}

/* Exchanges the subscription that is kept, and lets go of the one before. */
inline keep(next, before) {
    d_step { before = kept; kept = next };
    if
    :: before != NONE -> endSubscription(before)
    :: else
    fi;
    before = 0
}

/* What the application is called with. `which` is NONE for a connection state. */
inline pass(which, state) {
    atomic {
        if
        :: !gateIsClosed -> insideGate++; isAdmitted = true
        :: else -> isAdmitted = false
        fi
    };
    if
    :: isAdmitted ->
        if
        :: which == NONE ->
            d_step { assert(!clientHasEnded); assert(isToldConnected != state); isToldConnected = state };
            insideCallback()
        :: which != NONE && !subscriptions[which].hasEnded ->
            /* A step of its own: an unsubscribe may come in between. */
            d_step {
                assert(!clientHasEnded);
                assert(isToldConnected);
                assert(!subscriptions[which].isRefused);
                subscriptions[which].wasTold = true
            };
#ifdef WITNESS_TOLD
            assert(false);
#endif
            insideCallback()
        :: which != NONE && subscriptions[which].hasEnded
        fi;
        insideGate--
    :: else
    fi;
    isAdmitted = false
}

/* A callback may stop the client. */
inline insideCallback() {
    if
    :: true
    :: !clientHasEnded ->
        closeWaits();
        stopAll();
#ifdef STOP_JOINS_ITSELF
        executorHasEnded;
#endif
        ioIsStopped = true;
#ifndef GATE_STAYS_OPEN
        gateIsClosed = true;
#endif
#ifdef GATE_WAITS_FOR_ITSELF
        insideGate == 0;
#endif
        clientHasEnded = true
    fi
}

/* unsubscribeFromAll(), and the first half of the executor's stop(). */
inline stopAll() {
    d_step { subscriptions[0].isActive = false; subscriptions[1].isActive = false };
    atomic {
        executorIsStopped = true;
        do
        :: nempty(queue) -> queue?_, _
        :: empty(queue) -> break
        od
    }
}

active proctype Executor() {
    mtype kind;
    mtype result;
    byte which;
    byte before;
    bool isAdmitted;

    /* Idle is a proper end, where nobody stops it. Waiting for an outcome is none. */
end:
    do
    :: atomic { !executorIsStopped && nempty(queue) -> queue?kind, which };
        if
        :: kind == connected -> service = which; pass(NONE, true)
        :: kind == disconnected ->
            service = 0;
            keep(NONE, before);
#ifndef WAITS_GO_ON_WHEN_LOST
            endWaits();
#endif
            pass(NONE, false)
        :: kind == found -> give(which, succeeded)
        :: kind == notification ->
            if
            :: !subscriptions[which].isActive
            :: else ->
#ifndef NOTIFIED_AFTER_THE_WAIT
                setFuture(subscriptions[which].notified, succeeded);
#endif
                d_step { executorWaits = true; waitsFor = which };
                getFuture(subscriptions[which].outcome, result);
                executorWaits = false;
#ifdef NOTIFIED_AFTER_THE_WAIT
                setFuture(subscriptions[which].notified, succeeded);
#endif
                if
#ifndef OUTCOME_IGNORED
                :: result == timedOut
#endif
                :: else ->
                    pass(which, true); /* OnClampNotification */
                    pass(which, true)  /* OnClampStateChanged */
                fi
            fi
        fi;
        atomic { kind = 0; result = 0; which = 0 }
    :: executorIsStopped -> break
    od;
    executorHasEnded = true
}

active proctype Io() {
    byte which;

    do
    :: atomic { !ioIsStopped && !isOpen && connection < CONNECTIONS ->
            isOpen = true; connection++; addTask(connected, connection) }
    :: atomic { !ioIsStopped && isOpen ->
            isOpen = false;
            subscriptions[0].isServed = false; subscriptions[1].isServed = false;
            addTask(disconnected, 0) }
    :: atomic { !ioIsStopped -> select(which : 0 .. SUBSCRIBES - 1);
            if
            :: subscriptions[which].isAsked -> subscriptions[which].isAsked = false; addTask(found, which)
            :: isOpen && subscriptions[which].isServed && subscriptions[which].sent < NOTIFICATIONS ->
                subscriptions[which].sent++; addTask(notification, which)
            :: else -> break /* the bus falls silent, here or elsewhere */
            fi }
    :: break
    od
}

active proctype Application() {
    byte which;
    byte before;
    byte seen;

    do
    :: which < SUBSCRIBES ->
#ifdef REGISTERED_AFTER_THE_SERVICE
        seen = service;
#endif
        beginWait(which, lookUp);
#ifndef REGISTERED_AFTER_THE_SERVICE
        seen = service;
#endif
        if
        :: seen == 0 -> goto refused /* not ready */
        :: seen != 0 && subscriptions[which].answer == ended -> goto refused /* nothing is sent */
        :: else
        fi;
        subscriptions[which].isAsked = true;
        if
        :: subscriptions[which].answer == succeeded
        :: subscriptions[which].answer == ended ->
#ifdef WITNESS_LOOK_UP_ENDED
            assert(false);
#endif
            goto refused
        :: TIME_IS_OVER ->
#ifdef PATIENT
            assert(!executorIsStopped && !clientHasEnded && service == seen); /* it waited for nothing */
#endif
            goto refused
        fi;
        atomic { seen = 0; forgetWait() };

        beginWait(which, firstNotification);
        seen = service;
        if
        :: seen == 0 -> goto refused /* not ready */
        :: else
        fi;
        atomic {
            if
            :: isOpen && seen == connection && !ioIsStopped ->
                subscriptions[which].isServed = true; subscriptions[which].isActive = true
            :: else -> goto refused /* subscribeElement throws; no handler is called */
            fi
        };
        if
        :: true
        :: true -> /* what comes between may throw, out of memory; the platform's handle is released */
            subscriptions[which].isActive = false;
            subscriptions[which].isServed = false;
#ifndef OUTCOME_LEFT_OPEN_WHEN_THROWN
            setFuture(subscriptions[which].outcome, timedOut);
#endif
            goto refused
        fi;
        keep(which, before);
        if
        :: subscriptions[which].notified.isPromised && subscriptions[which].notified.value == succeeded ->
            setFuture(subscriptions[which].outcome, succeeded);
            goto returned
        :: subscriptions[which].notified.isPromised && subscriptions[which].notified.value == ended ->
#ifdef WITNESS_SUBSCRIPTION_ENDED
            assert(false);
#endif
            keep(NONE, before);
#ifndef OUTCOME_LEFT_OPEN_WHEN_ENDED
            setFuture(subscriptions[which].outcome, timedOut);
#endif
            goto refused
        :: TIME_IS_OVER ->
#ifdef PATIENT
            /* The handler waits for this very call, which waits for the handler. */
            assert(!executorWaits || waitsFor != which);
            assert(!executorIsStopped && !clientHasEnded && service == seen);
#endif
            keep(NONE, before);
#ifndef OUTCOME_LEFT_OPEN_WHEN_TIMED_OUT
            setFuture(subscriptions[which].outcome, timedOut);
#endif
            goto refused
        fi;

refused:
        atomic { assert(!subscriptions[which].wasTold); subscriptions[which].isRefused = true; forgetWait(); seen = 0 };
#ifdef WITNESS_REFUSED_WHILE_A_HANDLER_WAITED
        assert(!subscriptions[which].notified.isPromised);
#endif
        which++;
        goto next;

returned:
        atomic { forgetWait(); seen = 0 };
#ifdef WITNESS_SUCCESS
        assert(false);
#endif
        if
        :: true
        :: kept == which -> endSubscription(which) /* unsubscribe */
        fi;
        which++;

next:
        seen = 0
    :: else -> break
    od
}

active proctype Stopper() {
    if
    :: true /* nobody stops it */
    :: true -> /* Stop() */
#ifndef WAITS_GO_ON_WHEN_STOPPED
        closeWaits();
#endif
        stopAll();
#ifndef STOP_WAITS_FOR_NOBODY
        executorHasEnded; /* joined */
#endif
        ioIsStopped = true;
        gateIsClosed = true;
#ifndef STOP_WAITS_FOR_NOBODY
        insideGate == 0;
#endif
        clientHasEnded = true
    :: true -> /* destroyed without Stop() */
#ifndef WAITS_GO_ON_WHEN_DESTROYED
        closeWaits();
#endif
        gateIsClosed = true;
#ifndef DESTRUCTION_DOES_NOT_WAIT
        insideGate == 0;
#endif
        clientHasEnded = true
    fi
}
