# Headers keep their places below include/servicemux, so that the same #include lines work inside and outside the tree.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/servicemux)
install(TARGETS servicemux servicemux_interface servicemux_host EXPORT servicemuxTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS servicemux_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES docs/table-set.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/servicemux)
install(EXPORT servicemuxTargets NAMESPACE servicemux:: DESTINATION ${package_dir})

foreach(header
    servicemux/export.h
    servicemux/guarded.h
    servicemux/front/serviceMux.h
    servicemux/muxer/Batch.h
    servicemux/muxer/Ceiling.h
    servicemux/muxer/ClassicPace.h
    servicemux/muxer/ClassicTurns.h
    servicemux/muxer/DatagramSink.h
    servicemux/muxer/GapGroup.h
    servicemux/muxer/Lane.h
    servicemux/muxer/MuxerStatistics.h
    servicemux/muxer/PacedTable.h
    servicemux/muxer/SharedPids.h
    servicemux/muxer/StandardsPace.h
    servicemux/muxer/TimingProfile.h
    servicemux/muxer/UtcSecond.h
    servicemux/muxer/VBRmuxer.h
    servicemux/muxer/muxed_stream.h
    servicemux/output/InsertionPeriods.h
    servicemux/output/RegistryOwner.h
    servicemux/output/TableOnAir.h
    servicemux/output/deviceInterface.h
    servicemux/output/periodFields.h
    servicemux/packetize/TableFacts.h
    servicemux/packetize/packetize.h
    servicemux/registries/EITStreams.h
    servicemux/registries/PMTStreams.h
    servicemux/registries/PSIPStreams.h
    servicemux/registries/SDTStreams.h
    servicemux/registries/SectionStreams.h
    servicemux/streams/Repetition.h
    servicemux/streams/SectionQueue.h
    servicemux/streams/SimpleTable.h
    servicemux/streams/SttSource.h
    servicemux/streams/SubTable.h
    servicemux/streams/TableCarrousel.h
    servicemux/streams/TableContent.h
    servicemux/time/getDSTParams.h
    interface/psi/packet.h
    interface/psi/pids.h
    interface/psi/section.h
    interface/psi/sectioning.h
    interface/psi/tableIds.h
    interface/psi/tableTypes.h
    interface/dvbpsi.h
    interface/host.h
    interface/host_default/log.h
    interface/records.h
    interface/checks/Refusal.h
    interface/checks/conditionalAccess.h
    interface/checks/dumpDirectory.h
    interface/checks/localTimeOffsets.h
    interface/checks/outputAddress.h
    interface/checks/programMapPid.h
    interface/converters/owned.h
    interface/converters/t2dCAT.h
    interface/converters/t2dEIT.h
    interface/converters/t2dMGT.h
    interface/converters/t2dNIT.h
    interface/converters/t2dPAT.h
    interface/converters/t2dPMT.h
    interface/converters/t2dSDT.h
    interface/converters/t2dSections.h
    interface/converters/t2dVCT.h)
  get_filename_component(directory ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${SERVICEMUX_INCLUDEDIR}/${directory})
endforeach()
install(DIRECTORY ${PROJECT_BINARY_DIR}/interface/records/ DESTINATION ${SERVICEMUX_INCLUDEDIR}/interface/records
  FILES_MATCHING PATTERN "*.h")

configure_package_config_file(cmake/servicemuxConfig.cmake.in ${PROJECT_BINARY_DIR}/servicemuxConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/servicemuxConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/servicemuxConfig.cmake ${PROJECT_BINARY_DIR}/servicemuxConfigVersion.cmake
  DESTINATION ${package_dir})

# The files find their prefix from where they lie, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
foreach(package servicemux servicemux-host)
  configure_file(cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
