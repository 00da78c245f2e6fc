// SPDX-License-Identifier: MIT
// Numbers and names as a person reads them.

export function size(bytes) {
  if (bytes < 1024) {
    return `${bytes} bytes`;
  }
  return bytes < 1048576 ? `${(bytes / 1024).toFixed(0)} KiB` : `${(bytes / 1048576).toFixed(1)} MiB`;
}

export function span(seconds) {
  const whole = Math.max(0, Math.round(seconds));
  if (whole < 60) {
    return `${whole} s`;
  }
  if (whole < 3600) {
    return `${Math.floor(whole / 60)} min ${whole % 60} s`;
  }
  return `${Math.floor(whole / 3600)} h ${Math.floor((whole % 3600) / 60)} min`;
}

export function clock(at) {
  return new Date(at * 1000).toLocaleTimeString("en-GB");
}

// Those of a node, and those that the lab adds.
export const STAGES = [
  "off", "booting", "starting", "idle", "waiting", "downloading", "verifying", "writing",
  "activating", "rebooting", "committing", "reboot-overdue",
];

export const FAULTS = {
  "disk-full": "disk full",
  "disk-read-only": "disk read-only",
  "bank-wrong-bytes": "banks store wrong bytes",
  "bank-lies-about-sync": "banks lie about syncs",
  "health-fails": "health command fails",
  "never-boots": "new images never boot",
};
