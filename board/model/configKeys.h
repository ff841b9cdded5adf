/* Configuration values by name, as the kernel's control file takes them: KEY(name, member). */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

/* clang-format off */
#define BOARD_KEYS(KEY)                                                  \
	KEY("seed", seed)                                                \
	KEY("crystal_error_ppt", crystal_error_ppt)                      \
	KEY("ferrox_present", ferrox.present)                            \
	KEY("fpga_present", fpga.present)                                \
	KEY("fpga_running", fpga_running)                                \
	KEY("fpga_reads_zero", fpga_reads_zero)                          \
	KEY("fpga_starts_on_request", fpga_starts_on_request)            \
	KEY("si514_present", si514_present)                              \
	KEY("si514_initial_ppt", si514_initial_ppt)                      \
	KEY("pulse_width_ns", pulse_width_ns)                            \
	KEY("crystal_interval_ns", crystal.interval_ns)                  \
	KEY("crystal_white_ppt", crystal.white_ppt)                      \
	KEY("crystal_flicker_ppt", crystal.flicker_ppt)                  \
	KEY("crystal_walk_ppt", crystal.walk_ppt)                        \
	KEY("crystal_ageing_ppt_per_day", crystal.ageing_ppt_per_day)    \
	KEY("crystal_ramp_ppt", crystal.ramp_ppt)                        \
	KEY("crystal_ramp_at_ns", crystal.ramp_at_ns)                    \
	KEY("crystal_ramp_takes_ns", crystal.ramp_takes_ns)              \
	KEY("crystal_frequencies_every_ns", crystal.frequencies_every_ns) \
	KEY("ferrox_offset_ns", ferrox.clock.offset_ns)                  \
	KEY("ferrox_step_loss_ns", ferrox.clock.step_loss_ns)            \
	KEY("ferrox_step_jitter_ns", ferrox.clock.step_jitter_ns)        \
	KEY("ferrox_step_granularity_ns", ferrox.clock.step_granularity_ns) \
	KEY("ferrox_step_tail_ns", ferrox.clock.step_tail_ns) \
	KEY("ferrox_step_other_loss_ns", ferrox.clock.step_other_loss_ns) \
	KEY("ferrox_step_other_per_million", ferrox.clock.step_other_per_million) \
	KEY("fpga_offset_ns", fpga.clock.offset_ns)                      \
	KEY("fpga_step_loss_ns", fpga.clock.step_loss_ns)                \
	KEY("fpga_step_jitter_ns", fpga.clock.step_jitter_ns)            \
	KEY("fpga_step_granularity_ns", fpga.clock.step_granularity_ns) \
	KEY("fpga_step_tail_ns", fpga.clock.step_tail_ns) \
	KEY("fpga_step_other_loss_ns", fpga.clock.step_other_loss_ns) \
	KEY("fpga_step_other_per_million", fpga.clock.step_other_per_million)

#define BOARD_INTERFACE_KEYS(KEY)                                        \
	KEY("is_up", is_up)                                              \
	KEY("reset_on_up", reset_on_up)                                  \
	KEY("phc_index", phc_index)                                      \
	KEY("n_ext_ts", n_ext_ts)                                        \
	KEY("n_per_out", n_per_out)                                      \
	KEY("n_pins", n_pins)                                            \
	KEY("interrupt_latency_ns", interrupt_latency_ns)                \
	KEY("interrupt_jitter_ns", interrupt_jitter_ns)                  \
	KEY("lost_edges_per_million", lost_edges_per_million)            \
	KEY("offset_ns", clock.offset_ns)                                \
	KEY("step_loss_ns", clock.step_loss_ns)                          \
	KEY("step_jitter_ns", clock.step_jitter_ns)                      \
	KEY("step_granularity_ns", clock.step_granularity_ns)            \
	KEY("step_tail_ns", clock.step_tail_ns)                          \
	KEY("step_other_loss_ns", clock.step_other_loss_ns)              \
	KEY("step_other_per_million", clock.step_other_per_million)      \
	KEY("slow_read_ns", slow_read_ns)                                \
	KEY("slow_reads_per_million", slow_reads_per_million)

#define BOARD_FAULT_KEYS(KEY)                                            \
	KEY("call", kind)                                                \
	KEY("target", target)                                            \
	KEY("file", file)                                                \
	KEY("detail", detail)                                            \
	KEY("has_detail", has_detail)                                    \
	KEY("has_short_count", has_short_count)                          \
	KEY("from_ns", from_ns)                                          \
	KEY("nth", nth)                                                  \
	KEY("times", times)                                              \
	KEY("error", error)                                              \
	KEY("short_count", short_count)                                  \
	KEY("driver_status", driver_status)                              \
	KEY("delay_ns", delay_ns)                                        \
	KEY("kills", kills)
/* clang-format on */
