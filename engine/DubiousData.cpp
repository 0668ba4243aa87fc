#include "engine/DubiousData.h"

#include <cmath>
#include <vector>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

namespace veltra {

namespace {

constexpr size_t kCountedRank = 32;

// Places every figure (none NaN) at its rank: the number of figures before it that are at least as
// large and after it that are larger. No branch to mispredict on figures in any order; two
// figures at a time where the processor has the vectors for it.
void CountedRank(const double* figures, size_t n, int32_t* order)
{
    size_t i = 0;
#if defined(__SSE2__)
    for (; i + 1 < n; i += 2) {
        const __m128d pair = _mm_loadu_pd(figures + i);
        // A comparison gives all ones (-1) where it holds: the rank is minus their sum.
        __m128i rank = _mm_setzero_si128();
        for (size_t j = 0; j < i; ++j)
            rank = _mm_add_epi64(rank, _mm_castpd_si128(_mm_cmpge_pd(_mm_set1_pd(figures[j]), pair)));
        // Within the pair: the second figure after the first, the first before the second.
        rank = _mm_add_epi64(rank, _mm_castpd_si128(_mm_cmpgt_pd(_mm_set1_pd(figures[i + 1]), pair)));
        rank =
            _mm_add_epi64(rank, _mm_and_si128(_mm_castpd_si128(_mm_cmpge_pd(_mm_set1_pd(figures[i]), pair)),
                                              _mm_set_epi64x(-1, 0)));
        for (size_t j = i + 2; j < n; ++j)
            rank = _mm_add_epi64(rank, _mm_castpd_si128(_mm_cmpgt_pd(_mm_set1_pd(figures[j]), pair)));
        alignas(16) int64_t ranks[2];
        _mm_store_si128(reinterpret_cast<__m128i*>(ranks), rank);
        order[-ranks[0]] = static_cast<int32_t>(i);
        order[-ranks[1]] = static_cast<int32_t>(i + 1);
    }
#endif
    for (; i < n; ++i) {
        const double figure = figures[i];
        size_t at = 0;
        for (size_t j = 0; j < i; ++j) at += figures[j] >= figure;
        for (size_t j = i + 1; j < n; ++j) at += figures[j] > figure;
        order[at] = static_cast<int32_t>(i);
    }
}

}  // namespace

void RankByFigure(const double* figures, int32_t count, int32_t* order)
{
    const size_t n = static_cast<size_t>(count);
    bool ordered = true;  // every figure compares with every other
    for (size_t i = 0; i < n; ++i) ordered = ordered && !std::isnan(figures[i]);
    if (ordered && n <= kCountedRank) {
        CountedRank(figures, n, order);
        return;
    }
    if (ordered) {
        // A stable insertion, for more figures than the count is worth.
        for (size_t i = 0; i < n; ++i) {
            const double figure = figures[i];
            size_t at = i;
            for (; at > 0 && figure > figures[order[at - 1]]; --at) order[at] = order[at - 1];
            order[at] = static_cast<int32_t>(i);
        }
        return;
    }
    // Repeated selection of the earliest largest figure, which NaN comparisons make depend on
    // the order the figures are met in.
    std::vector<int32_t> left(n);
    for (size_t i = 0; i < n; ++i) left[i] = static_cast<int32_t>(i);
    for (size_t k = 0; k < n; ++k) {
        size_t best = 0;
        for (size_t i = 1; i < left.size(); ++i)
            if (figures[left[i]] > figures[left[best]]) best = i;
        order[k] = left[best];
        left.erase(left.begin() + static_cast<std::ptrdiff_t>(best));
    }
}

void AddDubiousData(DubiousDataList& list, const String& value, double figure)
{
    FillOrDelete(NewObject<DubiousData>(value, figure),
                 [&](DubiousData& entry) { list.Add(entry.GetValue(), Ptr<DubiousData>(&entry)); });
}

void SortDubiousDataList(DubiousDataList& list)
{
    Vector<Ptr<DubiousData>> work;
    Ptr<Vector<String>> keys = list.GetKeys();
    for (int32_t i = 0; i < keys->Size(); ++i) {
        const String& key = (*keys)[i];
        Ptr<DubiousData> entry = list.Get(key);
        if (key != entry->GetValue())
            VELTRA_RAISE("In DubiousDataLists, every key must be identical to item's value.\n", "Key:   >",
                         key, "<\n", "Value: >", entry->GetValue(), "<");
        work.Add(entry);
    }
    list.RemoveAll();
    std::vector<double> figures;
    for (int32_t i = 0; i < work.Size(); ++i) figures.push_back(work[i]->m_figure);
    std::vector<int32_t> order(figures.size());
    RankByFigure(figures.data(), work.Size(), order.data());
    for (int32_t i : order) list.Add(work[i]->GetValue(), work[i]);
}

}  // namespace veltra
