#pragma once

#include <memory>
#include <vector>

#include "interface/dvbpsi.h"
#include "programs/tables/Section.h"

/// From whole sections to libdvbpsi's tables.

namespace vantor::tables {

template <typename Table, void (*Delete)(Table*)>
struct TableDeleter {
  void operator()(Table* table) const { Delete(table); }
};

using PatTable = std::unique_ptr<dvbpsi_pat_t, TableDeleter<dvbpsi_pat_t, dvbpsi_pat_delete>>;
using CatTable = std::unique_ptr<dvbpsi_cat_t, TableDeleter<dvbpsi_cat_t, dvbpsi_cat_delete>>;
using NitTable = std::unique_ptr<dvbpsi_nit_t, TableDeleter<dvbpsi_nit_t, dvbpsi_nit_delete>>;

// Each takes the sections of one whole version, well formed, and returns null when libdvbpsi makes no table of
// them. libdvbpsi reads beyond the end of a loop whose length is wrong: check before.

PatTable decodePat(const std::vector<Section>& sections);
CatTable decodeCat(const std::vector<Section>& sections);
NitTable decodeNit(const std::vector<Section>& sections);

}  // namespace vantor::tables
