// SPDX-License-Identifier: BSD-2-Clause
// Levinson-Durbin recursion of ITU-T G.728, Annex G, which can stop at one order and go on later, alone or among others.
#include "common/checks.h"
#include "g728/implementations.h"
#include "g728/levinson_steps.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

// One order further by the book.
[[gnu::noinline]] bool stepByTheBook(Steps &steps, Lattice &l) {
    if (l.order >= 8) l.store(l.state.a, l.order);
    if (!step(l.r, l.order, l.state)) return false;
    steps = Steps(l, l.order + 1);
    return true;
}
[[gnu::noinline]] bool halveAndStep(Steps &steps, Lattice &l) {
    steps.save(l);
    while (steps.halve())
        if (steps.step<0>(l)) return true;
    return stepByTheBook(steps, l);
}

// One order further; false where the recursion ends.
template <int count> [[gnu::always_inline]] inline bool proceed(Steps &steps, Lattice &l) {
    if (steps.step<count>(l)) [[likely]]
        return true;
    if constexpr (count == 0) {
        Steps next = steps; // so that only these have an address
        if (!halveAndStep(next, l)) return false;
        steps = next;
    } else {
        steps.save(l);
        Steps next;
        if (!stepByTheBook(next, l)) return false;
        steps = next;
    }
    return true;
}

// On to the largest order of halves of `count` vectors, or to the end; false where the recursion ends before.
template <int count> [[gnu::always_inline]] inline bool advance(Steps &steps, Lattice &l) {
    if (vectorsOfHalf(steps.order()) != count) return true;
    for (int n = std::min(l.to, largestOrder(count)) - steps.order(); n > 0; n--)
        if (!proceed<count>(steps, l)) return false;
    if (count < 4 && steps.order() == largestOrder(count)) steps.widen<count>(l);
    return true;
}

// On to the end.
[[gnu::noinline]] bool recurse(const Steps &from, Lattice &l) {
    Steps steps = from; // which has no address
    const bool done = advance<0>(steps, l) && advance<1>(steps, l) && advance<2>(steps, l) && advance<3>(steps, l) &&
                      advance<4>(steps, l);
    steps.save(l);
    return done;
}

// A recursion among others.
struct Member {
    Lattice lattice;
    Steps steps;
    bool holds;

    // How far it goes with halves of `count` vectors; -1 if it has others.
    template <int count> int way(const Steps &now) const {
        if (!holds || vectorsOfHalf(now.order()) != count) return -1;
        return std::min(lattice.to, largestOrder(count)) - now.order();
    }
    template <int count> [[gnu::always_inline]] bool proceed(Steps &now) {
        if (::proceed<count>(now, lattice)) [[likely]]
            return true;
        holds = false;
        return false;
    }
    template <int count> [[gnu::always_inline]] void widen(const Steps &now) {
        if (now.order() == largestOrder(count)) now.widen<count>(lattice);
    }
    void save(const Steps &now) {
        now.save(lattice);
        steps = now;
    }
};

// Two or three recursions, one step of each in turn: one has its chain of dependent operations in the time of the others'.
// On as far as all have halves of `count` vectors.
template <int count> [[gnu::always_inline]] inline void advance(Steps &a, Steps &b, Member &one, Member &two) {
    for (int n = std::min(one.way<count>(a), two.way<count>(b)); n > 0; n--)
        if (!one.proceed<count>(a) || !two.proceed<count>(b)) break;
    one.widen<count>(a);
    two.widen<count>(b);
}
template <int count>
[[gnu::always_inline]] inline void advance(Steps &a, Steps &b, Steps &c, Member &one, Member &two, Member &three) {
    for (int n = std::min(std::min(one.way<count>(a), two.way<count>(b)), three.way<count>(c)); n > 0; n--)
        if (!one.proceed<count>(a) || !two.proceed<count>(b) || !three.proceed<count>(c)) break;
    one.widen<count>(a);
    two.widen<count>(b);
    three.widen<count>(c);
}
[[gnu::noinline]] void abreast(Member &one, Member &two) {
    Steps a = one.steps, b = two.steps; // which have no address
    advance<0>(a, b, one, two);
    advance<1>(a, b, one, two);
    one.save(a);
    two.save(b);
}
[[gnu::noinline]] void abreast(Member &one, Member &two, Member &three) {
    Steps a = one.steps, b = two.steps, c = three.steps;
    advance<0>(a, b, c, one, two, three);
    advance<1>(a, b, c, one, two, three);
    one.save(a);
    two.save(b);
    three.save(c);
}

// From the beginning to order 1; false where there is no recursion.
[[gnu::noinline]] bool begin(const int16_t *autoCorr, int to, Lattice &l, Steps &steps) {
    if (autoCorr[0] <= 0) return false;
    l.to = to;
    l.state.energy = autoCorr[0];
    l.state.scale = 0;
    if (to == order)
        l.setAutoCorr(autoCorr, order);
    else if (to == synthesisOrder)
        l.setAutoCorr(autoCorr, synthesisOrder);
    else
        l.setAutoCorr(autoCorr, to);
    steps = Steps(l);
    if (steps.step<0>(l)) [[likely]] {
        l.state.reflection = steps.first();
        return true;
    }
    simd::store(l.state.a, _mm_setzero_si128());
    start(l.r[0], l.state);
    steps = Steps(l, 1);
    return true;
}

// From an order that is there already, which the state describes except for the coefficients.
[[gnu::noinline]] bool resume(const int16_t *autoCorr, int from, int to, const int16_t *coefficients, Lattice &l,
                              Steps &steps) {
    if (l.state.energy <= 0) return false;
    l.to = to;
    l.setAutoCorr(autoCorr, to);
    simd::store(l.state.a, _mm_setzero_si128());
    copyWords(coefficients, from, l.state.a);
    steps = Steps(l, from);
    return true;
}

[[gnu::noinline]] void end(const Lattice &l, int to, int16_t *coefficients) {
    if (to == order)
        l.store(coefficients, order);
    else if (to == synthesisOrder)
        l.store(coefficients, synthesisOrder);
    else if (to >= 8)
        l.store(coefficients, to);
    else
        copyWords(l.state.a, to, coefficients);
}

ryxStatus check(int from, int to, int16_t fraction) {
    if (from < 0 || to <= from) return ryxStsBadSize;
    if (to > synthesisOrder) return ryxStsOutOfRange;
    if (from > 0 && (fraction < 13 || fraction > 15)) return ryxStsOutOfRange;
    return ryxStsOk;
}
bool begin(const LevinsonDurbin_G728 &r, int to, Lattice &l, Steps &steps) {
    if (r.order == 0) return begin(r.autoCorr, to, l, steps);
    l.state.energy = r.energy;
    l.state.scale = 15 - r.fraction;
    l.state.reflection = r.reflection;
    return resume(r.autoCorr, r.order, to, r.coefficients, l, steps);
}
void end(const Lattice &l, int to, LevinsonDurbin_G728 &r) {
    end(l, to, r.coefficients);
    r.order = static_cast<int16_t>(to);
    r.energy = l.state.energy;
    r.fraction = static_cast<int16_t>(15 - l.state.scale);
    r.reflection = l.state.reflection;
}

// Tells what a recursion is at the order that it was to reach so far, and makes it go on from there.
[[gnu::noinline]] void pass(Member &m, int to, LevinsonDurbin_G728 &passed) {
    Lattice &l = m.lattice;
    if (m.holds && m.steps.order() < l.to) {
        m.holds = recurse(m.steps, l);
        if (l.order >= 8) l.store(l.state.a, l.order);
        if (m.holds) m.steps = Steps(l, l.order);
    }
    if (m.holds) {
        m.steps.save(l);
        end(l, l.to, passed);
    }
    l.to = to;
}

// Several recursions, three at a time. Where `passed` is asked for, the first of them also tells what it is at order `via`.
ryxStatus joint(LevinsonDurbin_G728 *const *recursions, const int *orders, int count, int via,
                LevinsonDurbin_G728 *passed) {
    for (int i = 0; i < count; i++) {
        const ryxStatus status = check(recursions[i]->order, orders[i], recursions[i]->fraction);
        if (status != ryxStsOk) return status;
    }
    if (passed != nullptr) {
        if (via <= recursions[0]->order) return ryxStsBadSize;
        if (via > orders[0]) return ryxStsOutOfRange;
        passed->order = 0;
    }
    bool all = true;
    constexpr int most = 3;
    for (int from = 0; from < count; from += most) {
        Member members[most], *begun[most];
        const int n = std::min(most, count - from);
        int begunCount = 0;
        for (int i = 0; i < n; i++) {
            Member &m = members[i];
            m.holds = begin(*recursions[from + i], orders[from + i], m.lattice, m.steps);
            if (m.holds) begun[begunCount++] = &m;
        }
        const bool passing = passed != nullptr && from == 0 && members[0].holds;
        if (passing) members[0].lattice.to = via;
        if (begunCount == 3)
            abreast(*begun[0], *begun[1], *begun[2]);
        else if (begunCount == 2)
            abreast(*begun[0], *begun[1]);
        if (passing) pass(members[0], orders[0], *passed);
        for (int i = 0; i < n; i++) {
            Member &m = members[i];
            if (m.holds && (begunCount == 1 || m.lattice.order < m.lattice.to)) m.holds = recurse(m.steps, m.lattice);
            if (m.holds)
                end(m.lattice, orders[from + i], *recursions[from + i]);
            else
                all = false;
        }
    }
    return all ? ryxStsOk : ryxStsOverflow;
}

ryxStatus checkJoint(LevinsonDurbin_G728 *const *recursions, const int *orders, int count) {
    if (anyNull(recursions, orders)) return ryxStsNullPtr;
    if (count < 1) return ryxStsBadSize;
    for (int i = 0; i < count; i++)
        if (recursions[i] == nullptr) return ryxStsNullPtr;
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsLevinsonDurbin_G728_16s_u8(const int16_t *autoCorr, int from, int to, int16_t *coefficients,
                                         int16_t *energy, int16_t *fraction, int16_t *reflection) {
    if (anyNull(autoCorr, coefficients, energy, fraction, reflection)) return ryxStsNullPtr;
    if (const ryxStatus status = check(from, to, *fraction); status != ryxStsOk) return status;
    Lattice l;
    Steps steps;
    bool begun;
    if (from == 0) {
        begun = begin(autoCorr, to, l, steps);
    } else {
        l.state.energy = *energy;
        l.state.scale = 15 - *fraction;
        l.state.reflection = *reflection;
        begun = resume(autoCorr, from, to, coefficients, l, steps);
    }
    if (!begun || !recurse(steps, l)) return ryxStsOverflow;
    end(l, to, coefficients);
    *energy = l.state.energy;
    *fraction = static_cast<int16_t>(15 - l.state.scale);
    *reflection = l.state.reflection;
    return ryxStsOk;
}

ryxStatus ryxsLevinsonDurbinJoint_G728_16s_u8(LevinsonDurbin_G728 *const *recursions, const int *orders, int count) {
    const ryxStatus status = checkJoint(recursions, orders, count);
    return status != ryxStsOk ? status : joint(recursions, orders, count, 0, nullptr);
}

ryxStatus ryxsLevinsonDurbinJointVia_G728_16s_u8(LevinsonDurbin_G728 *const *recursions, const int *orders, int count,
                                                 int via, LevinsonDurbin_G728 *passed) {
    if (anyNull(passed)) return ryxStsNullPtr;
    const ryxStatus status = checkJoint(recursions, orders, count);
    return status != ryxStsOk ? status : joint(recursions, orders, count, via, passed);
}
