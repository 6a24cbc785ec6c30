#!/usr/bin/env python3
"""Counts records and bytes through the shim: capture_shim.py LIBRARY CAPTURE..."""
import ctypes
import sys


class Record(ctypes.Structure):
    _fields_ = [("time", ctypes.c_int64), ("captured", ctypes.c_uint32), ("original", ctypes.c_uint32),
                ("link_type", ctypes.c_uint32), ("data", ctypes.POINTER(ctypes.c_uint8))]


shim = ctypes.CDLL(sys.argv[1])
shim.shim_open.restype = ctypes.c_void_p
shim.shim_next.restype = ctypes.c_bool
shim.shim_problem.restype = ctypes.c_char_p
for function in (shim.shim_next, shim.shim_problem, shim.shim_close):
    function.argtypes = [ctypes.c_void_p]
shim.shim_next.argtypes = [ctypes.c_void_p, ctypes.POINTER(Record)]

for path in sys.argv[2:]:
    capture, record, count, size = shim.shim_open(path.encode()), Record(), 0, 0
    while shim.shim_next(capture, record):
        count, size = count + 1, size + record.captured
    problem = shim.shim_problem(capture)
    print(problem.decode() if problem else f"{path}: {count} records, {size} bytes")
    shim.shim_close(capture)
