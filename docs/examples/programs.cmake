# The examples, for this tree and for the project that builds them on what is installed: each defines
# velora_example(name LIBRARIES ... [ARGUMENTS ...]).
velora_example(captures LIBRARIES velora_impex ARGUMENTS samples/web.pcap long.pcap)
velora_example(exact_merge LIBRARIES velora_exact ARGUMENTS
  samples/web.pcap samples/bulk.pcap.bz2 samples/README.md)
velora_example(file_tree LIBRARIES velora_sysutils)
velora_example(files LIBRARIES velora_sysutils)
velora_example(interface_rates LIBRARIES velora_procutils)
velora_example(logging LIBRARIES velora_logging velora_utils)
velora_example(merge LIBRARIES velora_impex ARGUMENTS samples/web.pcap samples/icmp.pcap.gz)
velora_example(merge_records LIBRARIES velora_merge velora_output ARGUMENTS
  samples/files.pcap.zst samples/cooked.pcap samples/README.md samples/time.pcapng)
velora_example(paths LIBRARIES velora_sysutils velora_procutils)
velora_example(read_capture LIBRARIES velora_capture ARGUMENTS
  samples/icmp.pcap.gz samples/dns.pcapng samples/README.md)
velora_example(rewrite_addresses LIBRARIES velora_output velora_packet ARGUMENTS
  samples/time.pcapng anonymous.pcapng)
velora_example(run_programs LIBRARIES velora_procutils)
velora_example(split_by_hour LIBRARIES velora_merge velora_output ARGUMENTS
  samples/web.pcap samples/dns.pcapng samples/cooked.pcap)
velora_example(stop_programs LIBRARIES velora_sysutils velora_procutils)
velora_example(system LIBRARIES velora_sysutils)
velora_example(text LIBRARIES velora_utils)
velora_example(time LIBRARIES velora_utils)
velora_example(top_talkers LIBRARIES velora_packet ARGUMENTS
  samples/web.pcap samples/echo-be.pcap samples/cooked.pcap)
velora_example(write_capture LIBRARIES velora_capture velora_output ARGUMENTS samples/dns.pcapng beginnings.pcap)
velora_example(read_anywhere LIBRARIES velora_capture velora_utils ARGUMENTS samples/dns.pcapng)
