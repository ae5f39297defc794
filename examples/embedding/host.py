#!/usr/bin/env python3
"""A host program in another language, by its foreign function interface."""
import ctypes
import os
import sys

launcher = ctypes.CDLL("libvelox_wrapper.so.2")
Main = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_int, ctypes.POINTER(ctypes.c_char_p))


@Main
def host_main(argc, argv):
    for i in range(1, argc):
        print(f"Python host argument {i}: [{os.fsdecode(argv[i])}]")
    return 7


arguments = [os.fsencode(argument) for argument in sys.argv]
vector = (ctypes.c_char_p * (len(arguments) + 1))(*arguments, None)
sys.exit(launcher.velox_launch(len(arguments), vector, host_main, None))
