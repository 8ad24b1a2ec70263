#include "servicemux/front/serviceMux.h"

#include <pthread.h>

#include <utility>

#include "interface/host.h"
#include "interface/psi/pids.h"
#include "servicemux/access/ConditionalAccess.h"
#include "servicemux/intake/AtscTables.h"
#include "servicemux/intake/FixedTables.h"
#include "servicemux/intake/SectionTables.h"
#include "servicemux/intake/ServiceTables.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/output/DeviceSocket.h"
#include "servicemux/output/DumpFiles.h"
#include "servicemux/output/FitReport.h"
#include "servicemux/output/LogScope.h"
#include "servicemux/output/periodFields.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/TableCarrousel.h"
#include "servicemux/time/TimeTables.h"

namespace vantor {

using namespace vantor::thrift::dvb_tables;
using vantor::thrift::general::OutputAddress;
using vantor::thrift::general::ScramblerConfig;
using vantor::thrift::general::simulCryptData;
using vantor::thrift::simulcrypt::ECMItem;
using vantor::thrift::simulcrypt::EMMItem;

namespace {

constexpr unsigned int kDefaultBitrate = 1024;  // kbit/s
constexpr unsigned int kPacketsPerDatagram = 7;

// Sending pre-empts filling.
constexpr int kProducerPriority = 98;
constexpr int kConsumerPriority = 99;

}  // namespace

// --- Life -------------------------------------------------------------------------------------------------------

serviceMux::serviceMux(const char* name, OutputAddress address, const std::string& dumpPath)
    : serviceMux(name, nullptr, std::make_shared<DeviceSocket>(std::move(address)), dumpPath) {}

serviceMux::serviceMux(const char* name, std::shared_ptr<DatagramSink> sink, const std::string& dumpPath)
    : serviceMux(name, std::move(sink), nullptr, dumpPath) {}

serviceMux::serviceMux(const char* name, std::shared_ptr<DatagramSink> handedIn, std::shared_ptr<DeviceSocket> own,
                       const std::string& dumpPath)
    : name(name != nullptr ? name : ""),
      outputAddress(own != nullptr ? own->outputAddress() : OutputAddress()),
      sink(own != nullptr ? own : std::move(handedIn)),
      device(std::move(own)) {
  const LogScope scope(this->name);
  announce();
  try {
    openOutput();
    dumps = std::make_unique<DumpFiles>(dumpPath);
    makeParts();
    startTimeUpdaterThread();
    startServiceMuxerThread();
    startConsumerThread();
  } catch (...) {
    end();
    throw;
  }
}

void serviceMux::announce() const {
  if (device)
    log_function(HOST_LOG_WARNING, 0, "[%s] Building Service Mux for [%s]:[%d] vlan[%d]", name.c_str(),
                 outputAddress.ip.c_str(), outputAddress.port, outputAddress.vlan);
  else
    log_function(HOST_LOG_WARNING, 0, "[%s] Building Service Mux for an open output", name.c_str());
}

void serviceMux::openOutput() {
  if (!device) return;
  if (openUDPSocket())
    log_function(HOST_LOG_WARNING, 0, "[%s] Output Socket opened!", name.c_str());
  else
    log_function(HOST_LOG_ERROR, 0, "[%s] Output Socket open error! [%s]:[%d] vlan[%d]", name.c_str(),
                 outputAddress.ip.c_str(), outputAddress.port, outputAddress.vlan);
}

void serviceMux::makeParts() {
  muxer = std::make_shared<VBRmuxer>(*sink, kDefaultBitrate, kPacketsPerDatagram);
  fixedTables = std::make_unique<FixedTables>(this, *dumps);
  timeTables = std::make_unique<TimeTables>(this, std::make_unique<SectionQueue>(muxer, kTimePid, 0));
  sdtCarrousel = std::make_shared<TableCarrousel>(muxer, kSdtPid, muxed_stream::kNoCC);
  serviceTables = std::make_unique<ServiceTables>(this, *dumps);
  sectionTables = std::make_unique<SectionTables>(this);
  atscTables = std::make_unique<AtscTables>(this);
  access = std::make_unique<ConditionalAccess>(this);
}

serviceMux::~serviceMux() {
  const LogScope scope(name);
  end();
  dumps->removeAll();
}

/// Ends the threads and closes the socket, also when construction broke off.
void serviceMux::end() {
  sectionTables.reset();  // first, so that no other table's end gives them their PID back
  fixedTables.reset();
  if (serviceTables) serviceTables->dropSDTs();
  if (timeTables) timeTables->dropQueue();  // the updater may be at work with the rest
  sdtCarrousel.reset();
  if (access) {
    access->dropFixedStreams();
    access->clearLiveECMs();
    access->clearLiveEMMs();
  }
  muxerStop();
  if (timeTables) timeTables->stopUpdating();
  if (consumerThread.joinable()) consumerThread.join();
  if (producerThread.joinable()) producerThread.join();
  if (timeUpdaterThread.joinable()) timeUpdaterThread.join();
  if (device) device->close();
}

bool serviceMux::openUDPSocket() {
  const LogScope scope(name);
  return !device || device->open();
}

std::string serviceMux::getOutputInterfaceName() const {
  const LogScope scope(name);
  return device ? device->interfaceName() : "";
}

// --- Threads ----------------------------------------------------------------------------------------------------

void serviceMux::startTimeUpdaterThread() { timeUpdaterThread = std::thread(&serviceMux::timeUpdateFct, this); }

void serviceMux::startServiceMuxerThread() {
  startThread(producerThread, &serviceMux::muxerRun, kProducerPriority, "OPSIProd");
}

void serviceMux::startConsumerThread() {
  startThread(consumerThread, &serviceMux::consumerRun, kConsumerPriority, "OPSICons");
}

void serviceMux::startThread(std::thread& thread, void (serviceMux::*body)(), int priority,
                             const char* namePrefix) {
  const LogScope scope(name);
  thread = std::thread(body, this);
  int policy = 0;
  sched_param parameters{};
  pthread_getschedparam(thread.native_handle(), &policy, &parameters);
  parameters.sched_priority = priority;
  if (pthread_setschedparam(thread.native_handle(), SCHED_FIFO, &parameters) != 0)
    log_function(HOST_LOG_ERROR, 0, "Failed to set prooducer sched params!");
  const std::string threadName = namePrefix + std::to_string(outputAddress.port);
  pthread_setname_np(thread.native_handle(), threadName.c_str());
}

void serviceMux::muxerRun() {
  const LogScope scope(name);
  if (muxer) muxer->muxerRun();
}

void serviceMux::consumerRun() {
  const LogScope scope(name);
  if (muxer) muxer->consumerRun();
}

void serviceMux::muxerStop() {
  if (muxer) muxer->muxerStop();
}

void serviceMux::timeUpdateFct() {
  const LogScope scope(name);
  FitReport fit(this);
  timeTables->timeUpdateFct([&fit] { fit.look(); });
}

// --- The output as a whole --------------------------------------------------------------------------------------

void serviceMux::setBitrate(unsigned int kbps) { muxer->SetBitrate(kbps); }

void serviceMux::setTimingProfile(TimingProfile profile) { muxer->setTimingProfile(profile); }

TimingProfile serviceMux::timingProfile() const { return muxer->timingProfile(); }

void serviceMux::setDatagramWait(unsigned int ms) { muxer->setDatagramWait(ms); }

bool serviceMux::setInsertionPeriods(const InsertionPeriods& wanted) {
  constexpr const char* kName = "setInsertionPeriods";
  const LogScope scope(name);
  log_function(HOST_LOG_DEBUG, 0, "[%s]", kName);
  if (const auto refusal = check(wanted)) {
    log_function(HOST_LOG_ERROR, 0, "[%s] %s: %s: %s", name.c_str(), kName, refusal->path.c_str() + 1,
                 textOf(*refusal).c_str());
    return false;
  }
  for (const std::string& warning : warningsOf(wanted))
    log_function(HOST_LOG_WARNING, 0, "[%s] %s: %s", name.c_str(), kName, warning.c_str());
  fixedTables->setPeriods(wanted);
  serviceTables->setPeriods(wanted);
  timeTables->setPeriod(wanted.timeUpdater);
  atscTables->setPeriods(wanted);
  access->setPeriods(wanted);
  return true;
}

MuxerStatistics serviceMux::statistics() const { return muxer->statistics(); }

std::vector<TableOnAir> serviceMux::tablesOnAir() const {
  std::vector<TableOnAir> tables;
  fixedTables->listOnAir(tables);
  serviceTables->listOnAir(tables);
  sectionTables->listOnAir(tables);
  timeTables->listOnAir(tables);
  atscTables->listOnAir(tables);
  access->listOnAir(tables);
  return tables;
}

void serviceMux::clearAllTables() {
  const LogScope scope(name);
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearAllTables");
  sectionTables->clearAll();
  fixedTables->clearTables();
  access->dropFixedStreams();
  serviceTables->clearAll();
  atscTables->clearAll();
  access->clearLiveECMs();
  access->clearLiveEMMs();
  dumps->removeAll();
}

// --- Tables of which there is one -----------------------------------------------------------------------------

int serviceMux::newPAT(const PAT& record) {
  const LogScope scope(name);
  return fixedTables->newPAT(record);
}

void serviceMux::clearPAT() {
  const LogScope scope(name);
  fixedTables->clearPAT();
}

int serviceMux::newCAT(const CAT& record) {
  const LogScope scope(name);
  return fixedTables->newCAT(record);
}

void serviceMux::clearCAT() {
  const LogScope scope(name);
  fixedTables->clearCAT();
}

int serviceMux::newNIT(const NIT& record) {
  const LogScope scope(name);
  return fixedTables->newNIT(record);
}

void serviceMux::clearNIT() {
  const LogScope scope(name);
  fixedTables->clearNIT();
}

int serviceMux::newNULLPkts(unsigned int period) {
  const LogScope scope(name);
  return fixedTables->newNULLPkts(period);
}

int serviceMux::clearNULLPkts() {
  const LogScope scope(name);
  return fixedTables->clearNULLPkts();
}

// --- Tables of services ---------------------------------------------------------------------------------------

int serviceMux::newPMT(const PMT& record, short pid) {
  const LogScope scope(name);
  return serviceTables->newPMT(record, pid);
}

void serviceMux::clearPMT(short program, short pid) {
  const LogScope scope(name);
  serviceTables->clearPMT(program, pid);
}

void serviceMux::clearAllPMTs() {
  const LogScope scope(name);
  serviceTables->clearAllPMTs();
}

int serviceMux::newSDTActual(const SDT& record) {
  const LogScope scope(name);
  return serviceTables->newSDTActual(record);
}

int serviceMux::newSDTOthers(const SDT& record) {
  const LogScope scope(name);
  return serviceTables->newSDTOthers(record);
}

void serviceMux::clearSDTActual() {
  const LogScope scope(name);
  serviceTables->clearSDTActual();
}

void serviceMux::clearSDTOthers(int transport_stream_id, int original_network_id) {
  const LogScope scope(name);
  serviceTables->clearSDTOthers(transport_stream_id, original_network_id);
}

int serviceMux::newEITpf(const EITRecords& records) {
  const LogScope scope(name);
  return serviceTables->newEITpf(records);
}

int serviceMux::newEITsch(const EITRecords& records) {
  const LogScope scope(name);
  return serviceTables->newEITsch(records);
}

void serviceMux::clearEITpf(short sid) {
  const LogScope scope(name);
  serviceTables->clearEITpf(sid);
}

void serviceMux::clearEITsch(short sid) {
  const LogScope scope(name);
  serviceTables->clearEITsch(sid);
}

void serviceMux::clearAllEITs() {
  const LogScope scope(name);
  serviceTables->clearAllEITs();
}

void serviceMux::clearEIT(unsigned char table_id, int service_id, int transport_stream_id,
                          int original_network_id) {
  const LogScope scope(name);
  serviceTables->clearEIT(table_id, service_id, transport_stream_id, original_network_id);
}

// --- Whole sections -------------------------------------------------------------------------------------------

int serviceMux::newSections(const Sections& record) {
  const LogScope scope(name);
  return sectionTables->newSections(record);
}

void serviceMux::clearSections(int pid, int table_id, int extension) {
  const LogScope scope(name);
  sectionTables->clearSections(pid, table_id, extension);
}

// --- TDT and TOT ----------------------------------------------------------------------------------------------

// By value, as the interface has it.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void serviceMux::setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s> offsets) {
  const LogScope scope(name);
  timeTables->setLocalTimeOffsetTable(offsets);
}

void serviceMux::clearLocalTimeOffsetTable() { timeTables->clearLocalTimeOffsetTable(); }

std::string serviceMux::updateUTC(long long utc, dvbpsi_psi_section_s* section) {
  return TimeTables::updateUTC(utc, section);
}

// --- ATSC -----------------------------------------------------------------------------------------------------

int serviceMux::newMGT(const MGT& record) {
  const LogScope scope(name);
  return atscTables->newMGT(record);
}

int serviceMux::newVCT(const VCT& record) {
  const LogScope scope(name);
  return atscTables->newVCT(record);
}

int serviceMux::newSTT(const LocalTimeOffset& record) {
  const LogScope scope(name);
  return atscTables->newSTT(record);
}

void serviceMux::clearMGT() {
  const LogScope scope(name);
  atscTables->clearMGT();
}

void serviceMux::clearVCT() {
  const LogScope scope(name);
  atscTables->clearVCT();
}

void serviceMux::clearVCT(unsigned char table_id) {
  const LogScope scope(name);
  atscTables->clearVCT(table_id);
}

void serviceMux::clearSTT() {
  const LogScope scope(name);
  atscTables->clearSTT();
}

// --- Conditional access ---------------------------------------------------------------------------------------

void serviceMux::setDRMConfig(const ScramblerConfig& config) {
  const LogScope scope(name);
  access->setDRMConfig(config);
}

void serviceMux::setECM(const simulCryptData& ecm) {
  const LogScope scope(name);
  access->setECM(ecm);
}

void serviceMux::setEMM(const simulCryptData& emm) {
  const LogScope scope(name);
  access->setEMM(emm);
}

void serviceMux::clearECM() {
  const LogScope scope(name);
  access->clearECM();
}

void serviceMux::clearEMM() {
  const LogScope scope(name);
  access->clearEMM();
}

void serviceMux::setLiveECM(const ECMItem& ecm) {
  const LogScope scope(name);
  access->setLiveECM(ecm);
}

void serviceMux::setLiveEMM(const EMMItem& emm) {
  const LogScope scope(name);
  access->setLiveEMM(emm);
}

void serviceMux::clearLiveECMs() {
  const LogScope scope(name);
  access->clearLiveECMs();
}

void serviceMux::clearLiveEMMs() {
  const LogScope scope(name);
  access->clearLiveEMMs();
}

// --- Dump files -----------------------------------------------------------------------------------------------

void serviceMux::clearOldDumpedTables() {
  const LogScope scope(name);
  dumps->prune();
}

void serviceMux::dumpTable(dvbpsi_psi_section_s* sections) { dumps->dump(sections); }

void serviceMux::clearCurrentdumpedTable(unsigned char table_id, unsigned short extension) {
  dumps->removeLink(table_id, extension);
}

void serviceMux::clearDumpedTables() { dumps->removeAll(); }

std::string serviceMux::getTablename(unsigned char table_id, unsigned short extension) {
  return DumpFiles::tableName(table_id, extension);
}

// --- Packets --------------------------------------------------------------------------------------------------

unsigned int serviceMux::packetize(unsigned short pid, std::string& out, dvbpsi_psi_section_s* sections) {
  vantor::packetize(pid, 0, out, sections);
  return static_cast<unsigned int>(sectionBytes(sections));
}

void serviceMux::getNULLPacket(std::string& out) { appendNullPacket(out); }

unsigned char serviceMux::getNumberOfSectionsInSubtable(dvbpsi_psi_section_s* sections) {
  return chainLength(sections);
}

unsigned char serviceMux::packetizeCASection(unsigned short pid, unsigned char continuity, std::string& out,
                                             const std::string& in) {
  return packetizeBytes(pid, continuity, out, in);
}

unsigned char serviceMux::pidifyTSPackets(unsigned short pid, std::string& out, const std::string& in) {
  return vantor::pidifyTSPackets(pid, out, in);
}

}  // namespace vantor
