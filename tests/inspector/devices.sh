#!/bin/sh
# Prints what the command devices shows of a described desktop, and where that differs from devices.txt:
#   umockdev-run -d ../system/desktop.umockdev -- devices.sh PROGRAM
show() { echo "$ devices $*"; "$program" devices "$@" 2>&1 || echo "(status $?)"; }
program=$1
export LC_ALL=C.UTF-8
{
  show
  show --properties IOMedia
  show --properties IODisplayConnect
  show --json disk
  show --json scsi_host
  for class in block usb_device drm_minor nvme xhci_hcd AppleAPFSMedia nosuch "" ../class/block "b*"; do show "$class"; done
  script -qc "stty cols 40; $program devices --properties drm_minor" /dev/null | tr -d '\r'
} | diff "$(dirname "$0")/devices.txt" - || { echo "(status $?)"; exit 1; }
