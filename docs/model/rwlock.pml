/* The reader/writer lock between processes (CWdRWLockEx), for the model checker spin. README.md tells the runs.

   Processes may die behind each of their steps, as by SIGKILL. Others see a death some time later, and may lose sight of
   it once more, while a new process has the dead one's place in the process table but not yet a generation of its own.
   The names of the steps are those of WD_STEP in RWLock.cpp; tests/gates/model.sh compares them.

   Claims:
   - a writer is never inside with anybody else (assertions where they enter);
   - whenever the guard is let go, the count is the sum of the rows (letGoOfGuard);
   - nobody who lives waits for ever (no invalid end state);
   - who comes when all others have ended or died gets both locks, and leaves the lock at rest (the survivor).

   Each mistake (-DMISTAKE_...) is a rule of the lock left out: the checker must find it. */

#ifndef PROCESSES
#define PROCESSES 3
#endif
#ifndef ROUNDS
#define ROUNDS 2 /* of each process */
#endif
#ifndef DEATHS
#define DEATHS 2 /* processes 1 to this may die; all are alike, so which ones doesn't matter */
#endif
#ifndef LOOKS
#define LOOKS 1 /* of a waiting writer, beyond those that find something */
#endif
/* With ROWS_GIVEN each process has its row from the beginning and keeps it, which leaves room for more rounds. */

/* Tags: a process's own number, or GROUP. */
#define NOBODY 0
#define GROUP 15
#define SURVIVOR (PROCESSES + 1)

#define ROWS SURVIVOR
#define NO_ROW 255

typedef Row {
    byte tag;
    byte reads
};

byte token = NOBODY; /* N_RW_EVENT: signalled, or who took it */
byte guard = NOBODY; /* N_RW_MUTEX */
byte count = 0;      /* N_RW_MEMORY */
Row rows[ROWS];      /* N_RW_HOLDERS */

/* By tag. */
bit dead[SURVIVOR];
bit gone[SURVIVOR + 1]; /* what WdTagIsAlive sees of it */
bit replaced[SURVIVOR]; /* a new process was in its place once: it is gone for good when it is seen gone again */

/* What nobody in the lock sees: who lives and is inside, and how many processes are through or dead. */
byte readersInside = 0;
byte writersInside = 0;
byte ended = 0;

#define IS_WRITER(tag) (tag != NOBODY && tag != GROUP)
#define IS_GONE(tag) (tag != NOBODY && gone[tag])
#if PROCESSES == 2
#define SUM (rows[0].reads + rows[1].reads + rows[2].reads)
#define DEAD_ROW (IS_GONE(rows[0].tag) || IS_GONE(rows[1].tag) || IS_GONE(rows[2].tag))
#else
#define SUM (rows[0].reads + rows[1].reads + rows[2].reads + rows[3].reads)
#define DEAD_ROW (IS_GONE(rows[0].tag) || IS_GONE(rows[1].tag) || IS_GONE(rows[2].tag) || IS_GONE(rows[3].tag))
#endif

/* Whether a look at the group would change anything. A look that doesn't is done LOOKS times at most: processes that go
   on looking would hide from the checker that nobody moves. */
#ifdef MISTAKE_LOOK_COUNTS_FOR_ABANDONED_ONLY
#define WORTH_A_LOOK IS_GONE(guard)
#else
#define WORTH_A_LOOK (IS_GONE(guard) || (guard == NOBODY && (DEAD_ROW || SUM == 0)))
#endif

/* An instant at which a process may die; to die here and be seen dead late stands for each later instant before the next
   step. Several steps stand in one atomic block where only an heir of the guard can see what is between them: there a
   process changes what the guard guards, and reads or writes at most one other thing, the token. */
#define STEP(name) mayDie()
inline mayDie() {
    if
    :: me <= DEATHS ->
        ended++;
        dead[me] = 1;
        readersInside = readersInside - inside;
        writersInside = writersInside - writing;
        goto died
    :: true
    fi
}

/* SignalAgain: only from the taker that is meant. */
inline signalAgain(from) {
    if
    :: token == from -> token = NOBODY
    :: else
    fi
}

inline dropDeadRows() {
    sum = 0;
    k = 0;
    do
    :: k < ROWS ->
        if
        :: IS_GONE(rows[k].tag) -> rows[k].reads = 0; rows[k].tag = NOBODY; mayDie()
        :: else -> sum = sum + rows[k].reads
        fi;
        k++
    :: else -> break
    od;
    k = 0
}

inline recount() {
    atomic {
        dropDeadRows();
        STEP("recount.rows");
#ifdef MISTAKE_RECOUNT_FOR_GROUP_ONLY
        if
        :: token == GROUP -> count = sum
        :: else
        fi;
#else
        count = sum;
#endif
        STEP("recount.count")
    }
    atomic {
        if
#ifdef MISTAKE_RECOUNT_SIGNALS_ANYBODY
        :: sum == 0 -> token = NOBODY
#else
        :: sum == 0 -> signalAgain(GROUP)
#endif
        :: else
        fi;
        sum = 0;
        STEP("recount.token")
    }
}

inline takeGuard() {
    if
    :: atomic { guard == NOBODY -> guard = me; STEP("guard") }
    :: atomic { IS_GONE(guard) -> guard = me; STEP("guard") };
#ifndef MISTAKE_ABANDONED_GUARD_IS_NOT_COUNTED
       recount()
#endif
    fi
}

/* In an atomic block. */
inline letGoOfGuard() {
    assert(count == SUM);
    STEP("guard.end");
    guard = NOBODY;
    mayDie()
}

/* What both kinds of waiter do about a writer that died: a choice in their loops. */
#define LOOK_AT_WRITER \
    atomic { IS_WRITER(token) && gone[token] -> taker = token; STEP("look"); STEP("look.writer") }; \
       atomic { signalAgain(TAKER); taker = NOBODY; mayDie() }
#ifdef MISTAKE_LOOK_SIGNALS_ANYBODY
#define TAKER token
#else
#define TAKER taker
#endif

#ifdef MISTAKE_LOOK_COUNTS_FOR_ABANDONED_ONLY
#define WORTH_COUNTING waits = IS_GONE(guard)
#define COUNT_ANEW if :: waits -> waits = 0; recount() :: else fi
#else
#define WORTH_COUNTING skip
#define COUNT_ANEW recount()
#endif

/* Whoever has the guard and lives needs no help. */
inline lookAtGroup() {
    if
#ifdef MISTAKE_LOOK_WITHOUT_GUARD
    :: true -> recount()
#else
    :: atomic { guard == NOBODY || IS_GONE(guard) ->
           WORTH_COUNTING;
           guard = me;
           STEP("guard")
       };
       COUNT_ANEW;
       atomic { letGoOfGuard() }
#endif
    :: guard != NOBODY && !gone[guard]
    fi
}

inline claimRow() {
    atomic {
        dropDeadRows();
        do
        :: rows[k].tag == NOBODY -> break
        :: else -> k++
        od;
        row = k;
        k = 0;
        sum = 0;
        rows[row].reads = 0;
        mayDie();
        rows[row].tag = me;
        STEP("row.claimed")
    }
#ifndef MISTAKE_CLAIM_DOES_NOT_COUNT
    recount()
#endif
}

/* Without the guard. */
inline freeRow() {
    if
    :: row != NO_ROW ->
#ifdef MISTAKE_ROW_FREED_TOO_EARLY
        atomic { rows[row].tag = NOBODY; mayDie() }
        atomic { rows[row].reads = 0; row = NO_ROW; mayDie() }
#else
        atomic { rows[row].reads = 0; mayDie() }
        atomic { rows[row].tag = NOBODY; row = NO_ROW; mayDie() }
#endif
    :: else
    fi
}

#ifdef MISTAKE_TOKEN_BY_COUNT
#define GROUP_HAS_TOKEN (count > 1)
#else
#define GROUP_HAS_TOKEN (token == GROUP)
#endif
inline lockRead() {
    takeGuard();
    if
    :: row == NO_ROW -> claimRow()
    :: else
    fi;
    atomic {
        rows[row].reads++;
        STEP("enter.row");
        count++;
        STEP("enter.count")
    }
    do
    :: atomic { GROUP_HAS_TOKEN || token == NOBODY ->
           if
           :: GROUP_HAS_TOKEN
           :: else -> token = GROUP
           fi;
           inside++;
           readersInside++;
           assert(writersInside == 0);
           STEP("enter.token");
           letGoOfGuard();
           break
       }
#ifndef MISTAKE_READER_DOES_NOT_LOOK
    :: LOOK_AT_WRITER
#endif
    od
}

#ifdef MISTAKE_UNLOCK_BY_ANYBODY
#define MAY_UNLOCK true
#else
#define MAY_UNLOCK inside > 0
#endif
inline unlockRead() {
    takeGuard();
    atomic {
        if
        :: MAY_UNLOCK ->
            if
            :: inside > 0 -> inside--; readersInside--; rows[row].reads--
            :: else
            fi;
            STEP("leave.row");
            if
            :: count > 0 -> count--
            :: else
            fi;
            STEP("leave.count");
            if
            :: count == 0 -> signalAgain(GROUP)
            :: else
            fi;
            STEP("leave.token")
        :: else
        fi;
        letGoOfGuard()
    }
}

inline lockWrite() {
    do
    :: atomic { token == NOBODY ->
           token = me;
           writing = 1;
           writersInside++;
           assert(writersInside == 1 && readersInside == 0);
           STEP("write.token");
           break
       }
    :: LOOK_AT_WRITER
    :: atomic { token == GROUP && WORTH_A_LOOK -> STEP("look") };
       lookAtGroup()
    :: atomic { token == GROUP && looks > 0 -> looks--; STEP("look") };
       lookAtGroup()
    od
}

inline unlockWrite() {
    atomic {
        writing = 0;
        writersInside--;
        STEP("write.end");
        token = NOBODY;
        mayDie()
    }
}

/* What a process does next. The survivor waits until all others are through or dead, and then takes the write lock or
   not, the read lock, and the write lock. */
#define SURVIVES (me == SURVIVOR)
#define READS (SURVIVES -> round == 1 && inside == 0 : round < ROUNDS && inside < 2)
#define WRITES (inside == 0 && (SURVIVES -> round == 0 || round == 2 : round < ROUNDS))

proctype Process(byte me) {
    byte row = NO_ROW;
    byte inside = 0; /* reads, which the row has too */
    bit writing = 0;
    bit waits = 0;
    byte looks = LOOKS;
    byte round = 0;
    byte taker = NOBODY, sum = 0, k = 0;
#ifdef ROWS_GIVEN
    atomic { row = me - 1; rows[row].tag = me };
#endif
    !SURVIVES || ended == PROCESSES;
    do
    :: READS -> round++; lockRead()
    :: WRITES -> round++; lockWrite(); unlockWrite()
    :: inside > 0 -> unlockRead()
    :: !SURVIVES && inside == 0 && round < ROUNDS -> round++; unlockRead() /* one too many */
    :: SURVIVES && round == 0 -> round++
#ifndef ROWS_GIVEN
    :: inside == 0 && row != NO_ROW -> freeRow()
#endif
    :: inside == 0 && (!SURVIVES || round == 3) -> break
    od;
    assert(!SURVIVES || (count == 0 && SUM == 0 && token == NOBODY));
    ended++;
died:
    skip
}

#define SEE(process) \
    :: atomic { dead[process] && !gone[process] -> gone[process] = 1 } \
    :: atomic { gone[process] && !replaced[process] -> replaced[process] = 1; gone[process] = 0 }

proctype System() {
end:
    do
    SEE(1)
    SEE(2)
#if PROCESSES > 2
    SEE(3)
#endif
    od
}

init {
    atomic {
        run Process(1);
        run Process(2);
#if PROCESSES > 2
        run Process(3);
#endif
        run Process(SURVIVOR);
        run System()
    }
}
