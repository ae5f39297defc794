#ifndef VELOX_JAVARUN_ARGUMENTSPLITTER_H
#define VELOX_JAVARUN_ARGUMENTSPLITTER_H

#include <vector>

#include "foundation/Properties.h"

/// The three ways of launching an application. Each splits application.args by its own rules.
enum class LaunchWay { hostedJava, externalJava, nativeLibrary };

/// Splits a text into arguments at blanks (space, tab, carriage return, line feed) outside double
/// quotes. Quotes open at the start of the text or after a blank; they are not part of the
/// argument. Where the ways differ:
///
///                              hostedJava      externalJava    nativeLibrary
///   an empty pair of quotes    an argument     nothing         an argument
///   a quote inside a word      dropped         dropped         kept
///   text after closing quote   joins the word  joins the word  dropped
///
/// Text right after an empty pair is always a word of its own.
std::vector<WString> splitArguments(const WString& text, LaunchWay way);

/// The application's arguments: those split from application.args, and the unsplit ones of the
/// launcher's command line up to the first missing number. Java applications get the former first
/// and no program name, native ones the program name and the command line first.
std::vector<WString> applicationArguments(const Properties& properties, LaunchWay way);

#endif
