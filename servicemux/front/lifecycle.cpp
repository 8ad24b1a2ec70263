#include <pthread.h>
#include <unistd.h>

#include "interface/host.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/muxer/VBRmuxer.h"
#include "servicemux/packetize/packet.h"
#include "servicemux/packetize/pids.h"
#include "servicemux/registries/EITStreams.h"
#include "servicemux/registries/PMTStreams.h"
#include "servicemux/registries/PSIPStreams.h"
#include "servicemux/registries/SDTStreams.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"
#include "servicemux/streams/TableCarrousel.h"
#include "servicemux/time/TimeTables.h"

namespace vantor {

namespace {

constexpr unsigned int kDefaultBitrate = 1024;  // kbit/s
constexpr unsigned int kPacketsPerDatagram = 7;

// Sending pre-empts filling.
constexpr int kProducerPriority = 98;
constexpr int kConsumerPriority = 99;

}  // namespace

serviceMux::serviceMux(const char* name, vantor::thrift::general::OutputAddress address,
                       const std::string& dumpPath)
    : name(name != nullptr ? name : ""), outputAddress(std::move(address)), dumpPath(dumpPath) {
  log_function(HOST_LOG_WARNING, 0, "[%s] Building Service Mux for [%s]:[%d] vlan[%d]", this->name.c_str(),
               outputAddress.ip.c_str(), outputAddress.port, outputAddress.vlan);
  try {
    openOutput();
    makeStreams();
    startTimeUpdaterThread();
    startServiceMuxerThread();
    startConsumerThread();
  } catch (...) {
    end();
    throw;
  }
  startTime = Clock::now();
}

void serviceMux::openOutput() {
  if (openUDPSocket())
    log_function(HOST_LOG_WARNING, 0, "[%s] Output Socket opened!", name.c_str());
  else
    log_function(HOST_LOG_ERROR, 0, "[%s] Output Socket open error! [%s]:[%d] vlan[%d]", name.c_str(),
                 outputAddress.ip.c_str(), outputAddress.port, outputAddress.vlan);
}

void serviceMux::makeStreams() {
  muxer = std::make_shared<VBRmuxer>(socketFd, reinterpret_cast<sockaddr*>(&destination), kDefaultBitrate,
                                     kPacketsPerDatagram);
  pat = std::make_unique<SimpleTable>(muxer, kPatPid, periods.pat);
  cat = std::make_unique<SimpleTable>(muxer, kCatPid, periods.cat);
  nit = std::make_unique<SimpleTable>(muxer, kNitPid, periods.nit);
  nullPackets = std::make_unique<SimpleTable>(muxer, kNullPid, periods.nullPackets);
  timeTables = std::make_unique<TimeTables>(this, std::make_unique<SectionQueue>(muxer, kTimePid, 0));
  sdtCarrousel = std::make_shared<TableCarrousel>(muxer, kSdtPid, muxed_stream::kNoCC);
  pmts = std::make_unique<PMTStreams>(this);
  sdts = std::make_unique<SDTStreams>(this);
  eits = std::make_unique<EITStreams>(this);
  psip = std::make_unique<PSIPStreams>(this);
}

serviceMux::~serviceMux() {
  end();
  clearDumpedTables();
}

/// Ends the threads and closes the socket, also when construction broke off.
void serviceMux::end() {
  pat.reset();
  cat.reset();
  nit.reset();
  nullPackets.reset();
  sdts.reset();
  if (timeTables) timeTables->dropQueue();  // the updater may be at work with the rest
  sdtCarrousel.reset();
  caEcm.reset();
  caEmm.reset();
  clearLiveECMs();
  clearLiveEMMs();
  muxerStop();
  if (timeTables) timeTables->stopUpdating();
  if (consumerThread.joinable()) consumerThread.join();
  if (producerThread.joinable()) producerThread.join();
  if (timeUpdaterThread.joinable()) timeUpdaterThread.join();
  closeSocket();
}

void serviceMux::setBitrate(unsigned int kbps) { muxer->SetBitrate(kbps); }

MuxerStatistics serviceMux::statistics() const { return muxer->statistics(); }

std::vector<TableOnAir> serviceMux::tablesOnAir() const {
  std::vector<TableOnAir> tables;
  const auto add = [&tables](const char* table, unsigned short pid, SimpleTable& stream) {
    const StreamedTable sent = stream.onAir();
    if (sent.packets != 0) tables.emplace_back(table, pid, sent);
  };
  add("PAT", kPatPid, *pat);
  add("CAT", kCatPid, *cat);
  add("NITact", kNitPid, *nit);
  add("null", kNullPid, *nullPackets);
  pmts->listOnAir(tables);
  sdts->listOnAir(tables);
  eits->listOnAir(tables);
  timeTables->listOnAir(tables);
  psip->listOnAir(tables);
  listCAOnAir(tables);
  return tables;
}

void serviceMux::startTimeUpdaterThread() {
  timeUpdaterThread = std::thread([this] { timeTables->timeUpdateFct(); });
}

void serviceMux::startServiceMuxerThread() {
  startThread(producerThread, &serviceMux::muxerRun, kProducerPriority, "OPSIProd");
}

void serviceMux::startConsumerThread() {
  startThread(consumerThread, &serviceMux::consumerRun, kConsumerPriority, "OPSICons");
}

void serviceMux::startThread(std::thread& thread, void (serviceMux::*body)(), int priority,
                             const char* namePrefix) {
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
  if (muxer) muxer->muxerRun();
}

void serviceMux::consumerRun() {
  if (muxer) muxer->consumerRun();
}

void serviceMux::muxerStop() {
  if (muxer) muxer->muxerStop();
}

}  // namespace vantor
