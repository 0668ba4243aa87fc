"""The host interface of the Veltra library (``VeltraHost.h``) through ctypes.

The library is found, in this order, at the path in the ``VELTRA_LIBRARY`` environment variable,
beside this module (where the wheel puts it), or by its platform name (``libVeltraHost.so``,
``VeltraHost.dll``) through the system's library search.
"""

from __future__ import annotations

import ctypes
import os
import sys

__all__ = ["library", "NAME", "OK", "FAILED", "INVALID_ARGUMENT", "BUFFER_TOO_SMALL", "BUSY",
           "OUT_OF_MEMORY", "MESSAGE_FAILURE", "MESSAGE_WARNING", "MESSAGE_PROGRESS", "MESSAGE_SUMMARY",
           "CV_STRATIFIED", "SELECT_FORWARD", "NetworkInfo", "SelectionStep", "TestScore", "MessageCallback",
           "ProgressCallback", "JudgedCallback", "VerdictCallback"]

NAME = "VeltraHost.dll" if sys.platform == "win32" else "libVeltraHost.so"

OK, FAILED, INVALID_ARGUMENT, BUFFER_TOO_SMALL, BUSY, OUT_OF_MEMORY = range(6)
MESSAGE_FAILURE, MESSAGE_WARNING, MESSAGE_PROGRESS, MESSAGE_SUMMARY = 1, 2, 4, 8
CV_STRATIFIED, SELECT_FORWARD = 1, 2


class NetworkInfo(ctypes.Structure):
    _fields_ = [("states", ctypes.c_int32), ("tests", ctypes.c_int32), ("probability_lines", ctypes.c_int32),
                ("underflow_tests", ctypes.c_int32), ("smallest_prior", ctypes.c_double),
                ("smallest_conditional", ctypes.c_double)]


class SelectionStep(ctypes.Structure):
    _fields_ = [("test", ctypes.c_int32), ("tests", ctypes.c_int32), ("right", ctypes.c_int64),
                ("wrong", ctypes.c_int64), ("log_loss", ctypes.c_double)]


class TestScore(ctypes.Structure):
    _fields_ = [("mutual_information", ctypes.c_double), ("accuracy_drop", ctypes.c_double),
                ("right_without", ctypes.c_int64),
                ("wrong_without", ctypes.c_int64), ("log_loss_without", ctypes.c_double)]


MessageCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int32, ctypes.c_char_p)
ProgressCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int64, ctypes.c_int64)
JudgedCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int64, ctypes.c_char_p, ctypes.c_char_p,
                                  ctypes.c_int32, ctypes.POINTER(ctypes.c_char), ctypes.POINTER(ctypes.c_double))
VerdictCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_int32, ctypes.c_int64, ctypes.c_char_p,
                                   ctypes.c_char_p, ctypes.c_int32, ctypes.POINTER(ctypes.c_char),
                                   ctypes.POINTER(ctypes.c_double))


def _load() -> ctypes.CDLL:
    path = os.environ.get("VELTRA_LIBRARY")
    if not path:
        beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), NAME)
        path = beside if os.path.exists(beside) else NAME
    try:
        lib = ctypes.CDLL(path)
    except OSError as error:
        raise ImportError(
            f"the Veltra library {path} cannot be loaded ({error}); install the veltra wheel, or set "
            f"VELTRA_LIBRARY to the path of {NAME}") from None

    engine = ctypes.c_void_p
    status = ctypes.c_int32
    text = ctypes.c_char_p
    size = ctypes.POINTER(ctypes.c_int32)
    signatures = {
        "veltra_engine_create": (status, [ctypes.POINTER(engine)]),
        "veltra_engine_destroy": (status, [engine]),
        "veltra_engine_error": (text, [engine]),
        "veltra_engine_error_file": (text, [engine]),
        "veltra_engine_error_line": (ctypes.c_int64, [engine]),
        "veltra_engine_set_message_callback": (status, [engine, MessageCallback, ctypes.c_void_p, ctypes.c_int32]),
        "veltra_engine_set_progress_callback": (status, [engine, ProgressCallback, ctypes.c_void_p]),
        "veltra_engine_load_file": (status, [engine, text]),
        "veltra_engine_load_text": (status, [engine, text]),
        "veltra_network_get_info": (status, [engine, ctypes.POINTER(NetworkInfo)]),
        "veltra_network_get_name": (status, [engine, ctypes.c_char_p, size]),
        "veltra_network_get_state": (status, [engine, ctypes.c_int32, ctypes.c_char_p, ctypes.c_char_p, size]),
        "veltra_network_get_test": (status, [engine, ctypes.c_int32, ctypes.c_int32, ctypes.c_char_p, size]),
        "veltra_network_get_value_count": (status, [engine, ctypes.c_int32, size]),
        "veltra_network_get_value": (status, [engine, ctypes.c_int32, ctypes.c_int32, ctypes.c_char_p, size]),
        "veltra_network_get_figures": (status, [engine, ctypes.c_int32, ctypes.POINTER(ctypes.c_double),
                                                ctypes.POINTER(ctypes.c_double), size]),
        "veltra_engine_classify": (status, [engine, text, ctypes.c_void_p, ctypes.c_void_p, size]),
        "veltra_engine_classify_many": (status, [engine, ctypes.c_int32, ctypes.c_void_p, ctypes.c_int32,
                                                 ctypes.c_void_p, ctypes.c_void_p, ctypes.c_void_p]),
        "veltra_engine_count_size": (status, [engine, size]),
        "veltra_engine_count": (status, [engine, ctypes.c_void_p, ctypes.c_int64, text, ctypes.c_int64,
                                         ctypes.c_void_p]),
        "veltra_engine_train_counts": (status, [engine, text, ctypes.c_void_p, text]),
        "veltra_engine_train": (status, [engine, text, text, text, ctypes.POINTER(ctypes.c_int64)]),
        "veltra_engine_evaluate": (status, [engine, text, text, JudgedCallback, ctypes.c_void_p,
                                            ctypes.POINTER(ctypes.c_int64), ctypes.POINTER(ctypes.c_int64)]),
        "veltra_engine_cross_validate": (status, [engine, text, text, ctypes.c_int32, ctypes.c_uint64,
                                                  ctypes.c_int32, VerdictCallback, ctypes.c_void_p, ctypes.c_void_p,
                                                  ctypes.c_void_p]),
        "veltra_engine_select_tests": (status, [engine, text, text, ctypes.c_int32, ctypes.c_uint64, ctypes.c_int32,
                                                ctypes.c_int32, ctypes.c_void_p, size, ctypes.c_void_p,
                                                ctypes.c_void_p, size, size]),
        "veltra_version": (text, []),
        "veltra_interface_version": (ctypes.c_int32, []),
    }
    for name, (restype, argtypes) in signatures.items():
        function = getattr(lib, name)
        function.restype = restype
        function.argtypes = argtypes
    return lib


library = _load()
"""The loaded host interface, its functions declared."""
