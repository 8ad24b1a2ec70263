#include "servicemux/intake/AtscTables.h"

#include "interface/converters/owned.h"
#include "interface/converters/t2dMGT.h"
#include "interface/converters/t2dVCT.h"
#include "interface/host.h"
#include "interface/psi/pids.h"
#include "servicemux/intake/intake.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/registries/PSIPStreams.h"
#include "servicemux/sections/sections.h"

namespace vantor {

using vantor::thrift::dvb_tables::LocalTimeOffset;
using vantor::thrift::dvb_tables::MGT;
using vantor::thrift::dvb_tables::VCT;

namespace {

constexpr unsigned char kMgtSections = 1;  // however many there are; kept for compatibility

}  // namespace

AtscTables::AtscTables(RegistryOwner* owner) : owner(owner), psip(std::make_unique<PSIPStreams>(owner)) {}

AtscTables::~AtscTables() = default;

int AtscTables::newMGT(const MGT& record) {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "newMGT");
  const MgtTable table(t2dMGT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  log_function(HOST_LOG_INFO, 0, "New MGT TID [0x%02x] V [%u]", table->i_table_id, table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    std::string packets;
    packetize(kPsipPid, 0, packets, sections.get());
    psip->newPSIPTable(table->i_table_id, packets, kMgtSections);
  }
  return table->i_version;
}

int AtscTables::newVCT(const VCT& record) {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "newVCT");
  const VctTable table(t2dVCT(record));
  if (!table) return -1;
  clampVersion(table->i_version);
  log_function(HOST_LOG_INFO, 0, "New VCT TID [0x%02x] V [%u]", table->i_table_id, table->i_version);
  if (const SectionChain sections = generateSections(*table)) {
    std::string packets;
    packetize(kPsipPid, 0, packets, sections.get());
    psip->newPSIPTable(table->i_table_id, packets, chainLength(sections.get()));
  }
  return table->i_version;
}

int AtscTables::newSTT(const LocalTimeOffset& record) {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "newSTT");
  log_function(HOST_LOG_INFO, 0, "New STT generation request.");
  psip->newPSIPTable(PSIP_TID_STT, record);
  return -1;
}

void AtscTables::clearMGT() {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "clearMGT");
  psip->clearPSIPTable(PSIP_TID_MGT);
}

void AtscTables::clearVCT() {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "clearVCT");
  psip->clearPSIPTable(PSIP_TID_CVCT);
  psip->clearPSIPTable(PSIP_TID_TVCT);
}

void AtscTables::clearVCT(unsigned char table_id) {
  log_function(HOST_LOG_WARNING, 0, "[%s] [0x%02x]", "clearVCT", table_id);
  psip->clearPSIPTable(table_id);
}

void AtscTables::clearSTT() {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "clearSTT");
  psip->clearPSIPTable(PSIP_TID_STT);
}

void AtscTables::setPeriods(const InsertionPeriods& wanted) {
  InsertionPeriods& periods = owner->insertionPeriods();
  periods.mgt = wanted.mgt;
  periods.vctTerrestrial = wanted.vctTerrestrial;
  periods.vctCable = wanted.vctCable;
  periods.rrt = wanted.rrt;
  periods.stt = wanted.stt;
  psip->takePeriods();
}

void AtscTables::clearAll() { psip->clearAllPSIPTables(); }

void AtscTables::listOnAir(std::vector<TableOnAir>& tables) const { psip->listOnAir(tables); }

}  // namespace vantor
