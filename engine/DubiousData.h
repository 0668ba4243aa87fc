// DubiousData: a (value, figure) pair. Lists of them, keyed by their value, carry classification
// results (state, probability) and the per-test figures of a trained network (tag, CP or DP).
#ifndef VELTRA_ENGINE_DUBIOUSDATA_H
#define VELTRA_ENGINE_DUBIOUSDATA_H

#include <cstdint>

#include "safe/HashTable.h"
#include "safe/SmartString.h"

namespace veltra {

class DubiousData : public SmartObject {
public:
    DubiousData(const String& value, double figure) : m_value(value), m_figure(figure) {}
    const char* GetTypeName() const override { return "DubiousData"; }
    String GetValue() const { return m_value; }

    String m_value;
    double m_figure;
};

using DubiousDataList = HashTable<Ptr<DubiousData>>;

// Adds a new entry (value, figure) under its value to a list that owns its entries (delete-items
// flag set). Raises the table's "HashTable cannot add duplicate key: <value>", deleting the entry.
void AddDubiousData(DubiousDataList& list, const String& value, double figure);

// The ranking of classification results and figures alike: into `order`, the indices of the
// `count` figures by decreasing figure, equal figures in their order. This is the order that
// repeatedly taking the earliest of the largest remaining figures gives, NaN figures included
// (a NaN is never larger, nor is anything larger than it).
void RankByFigure(const double* figures, int32_t count, int32_t* order);

// Checks that every key equals its entry's value, then reorders the list by decreasing figure in
// place; equal figures keep their order. Raises
// "In DubiousDataLists, every key must be identical to item's value.\nKey:   >k<\nValue: >v<"
// and leaves the list unchanged when a key differs.
void SortDubiousDataList(DubiousDataList& list);

}  // namespace veltra

#endif  // VELTRA_ENGINE_DUBIOUSDATA_H
