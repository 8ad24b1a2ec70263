#pragma once

#include <memory>

#include "interface/dvbpsi.h"

/// Owning pointers for libdvbpsi's tables, such as the converters return.

namespace vantor {

template <typename Table, void (*Delete)(Table*)>
struct TableDeleter {
  void operator()(Table* table) const { Delete(table); }
};

using PatTable = std::unique_ptr<dvbpsi_pat_t, TableDeleter<dvbpsi_pat_t, dvbpsi_pat_delete>>;
using CatTable = std::unique_ptr<dvbpsi_cat_t, TableDeleter<dvbpsi_cat_t, dvbpsi_cat_delete>>;
using NitTable = std::unique_ptr<dvbpsi_nit_t, TableDeleter<dvbpsi_nit_t, dvbpsi_nit_delete>>;
using PmtTable = std::unique_ptr<dvbpsi_pmt_t, TableDeleter<dvbpsi_pmt_t, dvbpsi_pmt_delete>>;
using SdtTable = std::unique_ptr<dvbpsi_sdt_t, TableDeleter<dvbpsi_sdt_t, dvbpsi_sdt_delete>>;
using EitTable = std::unique_ptr<dvbpsi_eit_t, TableDeleter<dvbpsi_eit_t, dvbpsi_eit_delete>>;
using MgtTable = std::unique_ptr<dvbpsi_atsc_mgt_t, TableDeleter<dvbpsi_atsc_mgt_t, dvbpsi_atsc_DeleteMGT>>;
using VctTable = std::unique_ptr<dvbpsi_atsc_vct_t, TableDeleter<dvbpsi_atsc_vct_t, dvbpsi_atsc_DeleteVCT>>;
using SttTable = std::unique_ptr<dvbpsi_atsc_stt_t, TableDeleter<dvbpsi_atsc_stt_t, dvbpsi_atsc_DeleteSTT>>;
using TotTable = std::unique_ptr<dvbpsi_tot_t, TableDeleter<dvbpsi_tot_t, dvbpsi_tot_delete>>;

}  // namespace vantor
