#pragma once

#include <netinet/in.h>

#include <boost/chrono.hpp>
#include <boost/thread/mutex.hpp>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "interface/records.h"
#include "servicemux/export.h"
#include "servicemux/muxer/MuxerStatistics.h"
#include "servicemux/registries/InsertionPeriods.h"
#include "servicemux/registries/RegistryOwner.h"
#include "servicemux/streams/TableOnAir.h"

struct dvbpsi_local_time_offset_s;
struct dvbpsi_psi_section_s;

namespace vantor {

class EITStreams;
class PMTStreams;
class PSIPStreams;
class SDTStreams;
class SectionQueue;
class SimpleTable;
class TableCarrousel;
class TimeTables;
class VBRmuxer;

/// The signalling multiplex of one output: takes table records in, builds their sections and packets and repeats
/// them on UDP until they are replaced or cleared.
///
/// The object runs from the end of its constructor to the start of its destructor, with threads of its own. All
/// tables start empty. Errors are logged, never thrown, and leave on air what was there. The only exceptions are
/// those of a system that has run out of memory, threads or mutexes: boost::thread_resource_error,
/// std::system_error and std::bad_alloc. They may come from the constructor and from what makes a stream later,
/// which is setDRMConfig, newPMT on a PID that has no PMT yet and the first ATSC table; the other tables stay on
/// air then. Table operations take no lock and must come from one thread at a time; setBitrate and statistics may
/// come from any.
class SERVICEMUX_API serviceMux final : public RegistryOwner {
 public:
  /// `name` opens the log messages (null counts as empty). `address` says where the datagrams go; when the last
  /// octet of its ip is 224 to 239 they leave as multicast through the VLAN interface that `vlan` selects.
  /// `dumpPath` is an existing directory for dump files of the tables, "" for none; its name reaches a shell.
  serviceMux(const char* name, vantor::thrift::general::OutputAddress address, const std::string& dumpPath);
  serviceMux(const serviceMux&) = delete;
  serviceMux& operator=(const serviceMux&) = delete;
  /// Stops and joins the threads, closes the socket and removes the dump files.
  ~serviceMux();

  /// Sets the ceiling of the output in kbit/s, 1 to 100000, 1024 at construction.
  void setBitrate(unsigned int kbps);

  /// What has been sent so far, and what was lost.
  [[nodiscard]] MuxerStatistics statistics() const;

  /// What is on air now.
  [[nodiscard]] std::vector<TableOnAir> tablesOnAir() const;

  // Tables. Each returns the version used (one above 31 becomes 0), or -1 when the record cannot be converted; in
  // that case, and when libdvbpsi makes no sections of it, the previous table stays on air.

  int newPAT(const vantor::thrift::dvb_tables::PAT& record);
  int newCAT(const vantor::thrift::dvb_tables::CAT& record);
  void clearCAT();
  int newNIT(const vantor::thrift::dvb_tables::NIT& record);
  void clearNIT();

  /// Puts a program's PMT on a PID. A PID above 0x1FFF, which no packet can have, is refused with an error in the
  /// log and -1. A PMT that is on air on another PID stays there, with its version returned: clear it first.
  int newPMT(const vantor::thrift::dvb_tables::PMT& record, short pid);
  void clearPMT(short program, short pid);
  void clearAllPMTs();

  int newSDTActual(const vantor::thrift::dvb_tables::SDT& record);
  /// One SDT other for each other transport stream.
  int newSDTOthers(const vantor::thrift::dvb_tables::SDT& record);
  void clearSDTActual();
  /// Takes the SDT others with this transport_stream_id and original_network_id off air; -1 stands for any.
  void clearSDTOthers(int transport_stream_id, int original_network_id);

  /// EIT subtables, each by its table_id and service. The keys only tell the order in which they are taken.
  using EITRecords = std::map<int, std::map<int, vantor::thrift::dvb_tables::EIT>>;

  /// Puts EIT subtables on air. A record that cannot be converted is passed over; returns the version of the last
  /// one that could, -1 when there was none.
  int newEITpf(const EITRecords& records);
  int newEITsch(const EITRecords& records);
  /// Each of these takes all EITs of a service off air, present/following and schedule alike.
  void clearEITpf(short sid);
  void clearEITsch(short sid);
  void clearAllEITs();

  /// Sends one null packet every `period` ms. Returns 0.
  int newNULLPkts(unsigned int period);
  /// Returns 0.
  int clearNULLPkts();

  // TDT and TOT, sent about once a second, whenever the host's UTC time has changed, and with that time.

  /// Puts a TDT on air and, unless `offsets` is empty, a TOT with one local time offset descriptor. More than 19
  /// offsets are refused with an error, and what was on air stays.
  void setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s> offsets);
  void clearLocalTimeOffsetTable();

  // ATSC PSIP on PID 0x1FFB. MGT and VCT return like the tables above.

  int newMGT(const vantor::thrift::dvb_tables::MGT& record);
  /// Terrestrial or cable, as the record's table_id says.
  int newVCT(const vantor::thrift::dvb_tables::VCT& record);
  /// Sends an STT that always carries the current time, and announces the record's change of the local time.
  /// Returns -1 in any case.
  int newSTT(const vantor::thrift::dvb_tables::LocalTimeOffset& record);
  void clearMGT();
  /// Both kinds.
  void clearVCT();
  void clearSTT();

  // Conditional access, from any thread. Messages come as whole sections back to back (format 0) or as whole
  // packets (format 1); what is in neither is refused with an error and leaves on air what was there. ECMs are
  // repeated until the next one, EMMs are sent once, each set of them within half a second.

  /// Says which messages are carried: scrambler_type 0 on the fixed PIDs 0x0021 and 0x0022, 3 on the PIDs that the
  /// configuration lists, each taken by its low 16 bits. Messages on air stop, also when nothing has changed. When
  /// a stream cannot be made this throws boost::thread_resource_error: the streams made before it are there,
  /// messages for the others are refused or passed over, and calling again makes them all.
  void setDRMConfig(const vantor::thrift::general::ScramblerConfig& config);

  /// For scrambler_type 0. Packets must have the PID already.
  void setECM(const vantor::thrift::general::simulCryptData& ecm);
  void setEMM(const vantor::thrift::general::simulCryptData& emm);
  /// Removes the stream; the next setDRMConfig makes it again.
  void clearECM();
  void clearEMM();

  /// For scrambler_type 3, on one of the configured PIDs. Of several packets only the first is sent, as many times
  /// as there are packets. Empty data is an ECM stop, which is only logged: the last ECM stays on air. Both are
  /// kept for compatibility.
  void setLiveECM(const vantor::thrift::simulcrypt::ECMItem& ecm);
  void setLiveEMM(const vantor::thrift::simulcrypt::EMMItem& emm);
  /// Removes all streams; the next setDRMConfig makes them again.
  void clearLiveECMs();
  void clearLiveEMMs();

  /// Takes every table off air but TDT and TOT. Null packets go on too, so that the output does not fall silent.
  void clearAllTables();

  // Dump files. With an empty dump path they do nothing; none of them reports an error.

  /// Removes table files older than 30 days that no link points at; at most once in 7 days.
  void clearOldDumpedTables();

  /// Writes the sections to a file of their table and version and points the table's link at it.
  void dumpTable(dvbpsi_psi_section_s* sections);
  /// Removes the link of one table; its files stay.
  void clearCurrentdumpedTable(unsigned char table_id, unsigned short extension);
  /// Removes every file that ends in ".bin".
  void clearDumpedTables();
  /// The table's name in file names, empty when it is not dumped.
  static std::string getTablename(unsigned char table_id, unsigned short extension);

  // Packets.

  /// Appends the packets of a section chain to `out`, counters from 0, and returns the bytes of its sections.
  static unsigned int packetize(unsigned short pid, std::string& out, dvbpsi_psi_section_s* sections);
  /// Appends one null packet to `out`.
  static void getNULLPacket(std::string& out);
  /// The length of a section chain, modulo 256.
  static unsigned char getNumberOfSectionsInSubtable(dvbpsi_psi_section_s* sections);
  /// Appends the packets of CA sections that stand back to back to `out`.
  static unsigned char packetizeCASection(unsigned short pid, unsigned char continuity, std::string& out,
                                          const std::string& in);
  /// Appends the first packet of `in`, which has at least one, to `out` as often as `in` has packets, and gives it
  /// the PID.
  static unsigned char pidifyTSPackets(unsigned short pid, std::string& out, const std::string& in);

  // The steps of construction and destruction, each done once there.

  /// Opens the output socket and sets it up; true when every step succeeded.
  bool openUDPSocket();
  /// The interface that carries multicast output.
  std::string getOutputInterfaceName() const;
  void startTimeUpdaterThread();
  void startServiceMuxerThread();
  void startConsumerThread();
  void muxerRun();
  void consumerRun();
  void muxerStop();

 private:
  using Clock = boost::chrono::steady_clock;

  // What the registries see of this output.
  [[nodiscard]] const std::string& outputName() const override { return name; }
  [[nodiscard]] const InsertionPeriods& insertionPeriods() const override { return periods; }
  [[nodiscard]] const std::shared_ptr<VBRmuxer>& outputMuxer() const override { return muxer; }
  [[nodiscard]] const std::shared_ptr<TableCarrousel>& outputSdtCarrousel() const override { return sdtCarrousel; }

  void openOutput();
  void makeStreams();
  void end();

  int newSDT(const vantor::thrift::dvb_tables::SDT& record, unsigned char tableId);
  template <typename Announce>
  int newEITs(const EITRecords& records, Announce announce);

  void closeCAStreams();
  void openLiveEcms();
  void openLiveEmms();
  void listCAOnAir(std::vector<TableOnAir>& tables) const;

  unsigned int putOnAir(SimpleTable& stream, unsigned short pid, unsigned char version,
                        dvbpsi_psi_section_s* sections);
  void clearTable(SimpleTable& stream, const char* table, const char* kind);

  bool setUpMulticast();
  bool setUpUnicast();
  bool setTTL(int option) const;
  void closeSocket();
  void startThread(std::thread& thread, void (serviceMux::*body)(), int priority, const char* namePrefix);

  // Constant after construction.
  const std::string name;
  const vantor::thrift::general::OutputAddress outputAddress;
  const std::string dumpPath;

  // The caller's thread only.
  Clock::time_point startTime;  // moved on by each pruning of the dump files
  InsertionPeriods periods;
  std::thread producerThread;
  std::thread consumerThread;
  std::thread timeUpdaterThread;

  // Constant after construction, gone in the destructor; each is thread-safe by itself.
  std::shared_ptr<VBRmuxer> muxer;
  std::unique_ptr<SimpleTable> pat;
  std::unique_ptr<SimpleTable> cat;
  std::unique_ptr<SimpleTable> nit;
  std::unique_ptr<SimpleTable> nullPackets;
  std::shared_ptr<TableCarrousel> sdtCarrousel;
  std::unique_ptr<TimeTables> timeTables;

  // The caller's thread only.
  std::unique_ptr<SDTStreams> sdts;
  std::unique_ptr<PMTStreams> pmts;
  std::unique_ptr<EITStreams> eits;

  // Guarded by caLock; the maps by their own lock too.
  std::unique_ptr<SimpleTable> caEcm;
  std::unique_ptr<SectionQueue> caEmm;
  std::map<unsigned short, std::unique_ptr<SimpleTable>> liveEcms;  // by PID
  std::map<unsigned short, std::unique_ptr<SectionQueue>> liveEmms;
  boost::mutex liveEcmLock;
  boost::mutex liveEmmLock;

  std::unique_ptr<PSIPStreams> psip;  // the caller's thread only

  // Guarded by caLock.
  vantor::thrift::general::ScramblerConfig scramblerConfig;
  mutable boost::mutex caLock;  // before the live locks

  int socketFd = -1;
  sockaddr_in destination{};  // read by the consumer
};

}  // namespace vantor
