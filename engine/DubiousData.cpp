#include "engine/DubiousData.h"

namespace veltra {

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
    // Selection of the largest figure, strictly greater so that the earliest of equal figures
    // wins: lists are as short as the number of states or tests.
    while (work.Size() > 0) {
        int32_t best = 0;
        for (int32_t i = 1; i < work.Size(); ++i)
            if (work[i]->m_figure > work[best]->m_figure) best = i;
        list.Add(work[best]->GetValue(), work[best]);
        work.RemoveAt(best);
    }
}

}  // namespace veltra
