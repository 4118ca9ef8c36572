// SPDX-License-Identifier: Apache-2.0
// What processes that meet in the cycle segment can do to each other; docs/busy-word.md tells what comes out.
//
// Two of the eight outlets. A step is what cannot be divided: a load or a store of a word, or of half a text, which
// is as much as a copy moves at once. Remaining seconds and run states are the two halves of the table.
//
// One of these says who meets whom:
//   TWO_REQUESTS       requests for both outlets
//   REQUEST_AND_TICK   a request and the tick
//   REQUEST_AND_END    a request and the tick in which the cycle of the other outlet ends
//   REQUEST_AND_FIRST  a request and the first tick, which initialises the record
// With KILLED the request for outlet 1 dies at any step; then it is powercycleget alone that is to help.

#define NONE  0 // remaining seconds
#define SOME  1
#define BELOW 2

// --- the record ---

typedef Table {
    byte left[2];
    bool runs[2];
}

typedef Marks { // texts in which a request marks its outlet: here only whether it did
    bool made[2];
}

bool initialised = true;
bool busy;
byte mask; // counts with it wrap, as with a word
Table table;
Marks lengths;
Marks starts;

// --- what is known outside of it ---

bool off[2];     // outlets
bool dropped[2]; // requests
byte writers;    // that are past the busy word
bool overlap;    // there was more than one
bool dead;

inline copy_left(to, from) { d_step { to.left[0] = from.left[0]; to.left[1] = from.left[1] } }

inline copy_runs(to, from) { d_step { to.runs[0] = from.runs[0]; to.runs[1] = from.runs[1] } }

inline copy_table(to, from) {
    copy_left(to, from);
    copy_runs(to, from)
}

inline copy_marks(to, from) { d_step { to.made[0] = from.made[0]; to.made[1] = from.made[1] } }

inline store_no_marks(list) { d_step { list.made[0] = false; list.made[1] = false } }

inline store_idle() {
    d_step { table.left[0] = NONE; table.left[1] = NONE };
    d_step { table.runs[0] = false; table.runs[1] = false }
}

#define MASK_OF(t) (t.runs[0] + 2 * t.runs[1])

#define MASK_AGREES (mask == MASK_OF(table))

// --- the busy word: a test, then a store ---

inline enter() {
    writers++;
    overlap = overlap || writers > 1
}

inline take() { d_step { busy = true; enter() } }

inline let_go() {
    d_step {
        busy = false;
        writers--;
        c_code { tell_unguarded(); }
    }
}

// --- what is done meanwhile ---

// An outlet with time left runs, one that is below 0 does not.
inline correct(t, o, modified) {
    if
    :: t.left[o] == SOME && !t.runs[o] -> t.runs[o] = true; modified = true
    :: t.left[o] == BELOW -> t.left[o] = NONE; t.runs[o] = false; modified = true
    :: else
    fi
}

inline count(delta) {
    sum = (mask + (delta)) % 256;
    mask = sum;
    copy_table(t, table);
    d_step {
        modified = false;
        correct(t, 0, modified);
        correct(t, 1, modified)
    };
    if
    :: modified ->
        copy_table(table, t);
        mask = MASK_OF(t)
    :: else
    fi;
    if
    :: mask != MASK_OF(t) ->
        mask = 0;
        store_idle()
    :: else
    fi
}

inline mark(list, o) {
    copy_marks(marks, list);
    marks.made[o] = true;
    copy_marks(list, marks)
}

// Without the mark of a request the start is long ago.
inline work_out(o) {
    if
    :: t.runs[o] -> t.left[o] = (marks.made[o] -> SOME : BELOW)
    :: else
    fi
}

inline update_times() {
    copy_table(t, table);
    copy_marks(marks, starts);
    if
    :: t.runs[0] || t.runs[1] ->
        d_step { work_out(0); work_out(1) };
        copy_table(table, t)
    :: else
    fi
}

inline end_cycle(o) {
    if
    :: t.runs[o] && t.left[o] != SOME ->
        d_step {
            t.left[o] = NONE;
            t.runs[o] = false;
            ended = ended + (1 << o);
            off[o] = false
        }
    :: else
    fi
}

inline end_cycles() {
    ended = 0;
    copy_table(t, table);
    end_cycle(0);
    end_cycle(1);
    if
    :: ended != 0 ->
        copy_table(table, t);
        count(256 - ended)
    :: else
    fi
}

inline initialise() {
    d_step { mask = 0; enter() };
    store_idle();
    store_no_marks(lengths);
    store_no_marks(starts);
    busy = false;
    d_step { initialised = true; writers-- }
}

// --- processes ---

#define IS_RECORDED(o) (table.runs[o] && lengths.made[o] && starts.made[o] && MASK_AGREES)

proctype request(byte o) {
    Table t;
    Marks marks;
    byte sum;
    bool modified;

    {
        if
        :: busy -> dropped[o] = true
        :: else ->
            take();
            copy_table(t, table);
            off[o] = true;
            d_step { t.left[o] = SOME; t.runs[o] = true };
            copy_table(table, t);
            mark(lengths, o);
            mark(starts, o);
            count(1 << o);
            assert(overlap || IS_RECORDED(o));
            let_go()
        fi
    } unless { dead && o == 0 }
}

proctype tick() {
    Table t;
    Marks marks;
    byte sum;
    byte ended;
    bool modified;

    if
    :: !initialised -> initialise()
    :: else
    fi;
    if
    :: busy
    :: else ->
        take();
        update_times();
        end_cycles();
        let_go()
    fi
}

proctype killer() {
    dead = true
}

// --- what comes out ---

c_code {
    static void tell_unguarded(void)
    {
        if (now.writers > 0)
            printf("while a process writes, busy is 0\n");
    }

    static void tell_outlet(int o)
    {
        printf(" | %s%s%s", now.dropped[o] ? "dropped " : "", now.off[o] ? "off" : "on",
               now.mask >> o & 1 ? " mask" : "");
        printf("%s", now.table.runs[o] ? " runs" : "");
    }

    static void tell_wrong_times(int o)
    {
        if (now.table.runs[o] && !now.lengths.made[o])
            printf("a cycle has its old length\n");
        if (now.table.runs[o] && now.off[o] && !now.starts.made[o])
            printf("a cycle has its old start\n");
    }

    static void tell_outcome(void)
    {
        printf("%s", now.overlap ? "overlap" : "apart");
        tell_outlet(0);
        tell_outlet(1);
        printf("\n");
        tell_wrong_times(0);
        tell_wrong_times(1);
    }
}

inline let_meet() {
    run request(0);
#ifdef TWO_REQUESTS
    run request(1);
#else
    run tick();
#endif
#ifdef KILLED
    run killer();
#endif
}

inline prepare() {
#ifdef REQUEST_AND_END
    d_step {
        mask = 2;
        table.left[1] = SOME;
        table.runs[1] = true;
        lengths.made[1] = true;
        off[1] = true
    };
#endif
#ifdef REQUEST_AND_FIRST
    initialised = false;
#endif
    skip
}

inline start_over() {
    initialised = false;
    initialise();
    assert(mask == 0)
}

// Whatever they did, this makes the record agree again.
inline repair() {
    if
    :: count(0)
    :: start_over()
    fi;
    assert(MASK_AGREES)
}

init {
    Table t;
    byte sum;
    bool modified;

    prepare();
    atomic { let_meet() };
    _nr_pr == 1;
#ifdef KILLED
    start_over();
    assert(MASK_AGREES)
#else
    c_code { tell_outcome(); };
    assert(overlap || MASK_AGREES);
    repair()
#endif
    assert(initialised && !busy)
}
