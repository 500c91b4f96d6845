#!/usr/bin/env python3
"""Measures the test suite's power to find faults: applies, one at a time, a
fixed list of small source mutations, each where a real bug would hurt,
rebuilds the shipped tree incrementally and runs the ctest labels that cover
the mutated code. A mutant is killed when a test fails, survives when every
test passes, and is not built when the mutated source does not compile.

    python3 scripts/mutants.py [--build DIR] [--only ID,...] [--list]
                               [--json PATH] [--compare OLD.json]
                               [--max-labels N] [--no-baseline]

The source is restored after every mutant, whatever happens (also on Ctrl-C
or SIGTERM); the tree is rebuilt once at the end so that it matches it.
--compare exits 1 when a mutant killed in OLD.json is not killed now.
"""
import argparse
import datetime
import json
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# Every test takes at most this long (a mutant may make a test hang).
TEST_TIMEOUT = 300

# (id, file under Classes/, original snippet, replacement, labels, what the bug is)
# The labels are run in one ctest call; the first ones are the folder's own.
M = [
    # --- engine ---
    ("naming-group-flip", "engine/FormatSpecifiers.cpp",
     "if (specifier.isEmpty() || !inner.contains(specifier)) {",
     "if (specifier.isEmpty() || inner.contains(specifier)) {",
     "engine app cli", "group edits apply to the groups WITHOUT the token"),
    ("naming-group-remove-len", "engine/FormatSpecifiers.cpp",
     "const qsizetype length = close - open + 1;",
     "const qsizetype length = close - open;",
     "engine app cli", "removing an empty group leaves its closing brace"),
    ("naming-two-digits", "engine/NamingScheme.cpp",
     '*m_twoDigits ? "%02u" : "%u"', '*m_twoDigits ? "%2u" : "%u"',
     "engine app cli", "two-digit numbers padded with a blank instead of 0"),
    ("naming-unknown-album", "engine/NamingScheme.cpp",
     'QStringLiteral("Unknown Album")', 'QStringLiteral("Unknown")',
     "engine app cli", "fallback text for a missing album"),
    ("naming-leading-dot", "engine/NamingScheme.cpp",
     "result.remove(lastSlash + 1, 1);", "(void)lastSlash;",
     "engine app cli", "a name starting with a dot stays hidden"),
    ("output-noreplace", "engine/OutputFiles.cpp",
     "to.constData(), RENAME_NOREPLACE);", "to.constData(), 0);",
     "engine cli app", "the final rename replaces an existing file"),
    ("output-unique-overwrite", "engine/EncodeOperation.cpp",
     "    } else {\n        setOutFilePath(uniqueFilePath(candidate));",
     "    } else {\n        setOutFilePath(candidate);",
     "engine cli app", "overwrite off still writes over an existing output"),
    ("unique-name-counter", "engine/UtilityFunctions.cpp",
     'QString tail = QStringLiteral(" %1").arg(n);', 'QString tail = QStringLiteral(" %1").arg(n + 1);',
     "engine cli app", "the first free name is \"x 3\" instead of \"x 2\""),
    ("temp-files-kept", "engine/EncodeOperation.cpp",
     "            QFile::remove(path);", "            (void)path;",
     "engine cli app", "temporary MP3 and WAV files are never removed"),
    ("temp-stem-kept", "engine/MP3EncodeOperation.cpp",
     "QFile::remove(reserved);", "(void)reserved;",
     "engine cli", "the reserved temporary name of a decoded WAV is left in /tmp"),
    ("errorlog-move-text", "engine/EncodeOperation.cpp",
     '"Could Not Move Encoded File To Folder %1.  Error:%2"',
     '"Could Not Move Encoded File To Folder %1. Error:%2"',
     "engine cli app", "error-log text of a failed move (one blank lost)"),
    ("lame-cbr-bitrate", "engine/LameConfiguration.cpp",
     "lame_set_brate(gfp, int(format.bitrate()));", "lame_set_brate(gfp, int(format.bitrate()) + 32);",
     "engine cli", "CBR encodes at the wrong bit rate"),
    ("id3v2-version-pref", "engine/MP3TagWriter.cpp",
     "{2, {3, TagLib::String::UTF16}},", "{2, {4, TagLib::String::UTF16}},",
     "engine cli", "the ID3v2.3 preference writes ID3v2.4"),
    ("seconds-format", "engine/SecondsFormatter.cpp",
     'QString::asprintf("(%u:%.2u)", minutes, rest)', 'QString::asprintf("(%u:%u)", minutes, rest)',
     "engine app", "durations lose their two-digit seconds"),
    # --- decoders ---
    ("ring-put-wrap", "decoders/RingBuffer.cpp",
     "std::memcpy(m_writePointer, in + contiguous, byteCount - contiguous);",
     "std::memcpy(m_writePointer, in, byteCount - contiguous);",
     "decoders engine", "writing across the ring buffer's end copies the wrong bytes"),
    ("ring-normalize", "decoders/RingBuffer.cpp",
     "std::memcpy(start + firstRun, second.get(), secondRun);",
     "std::memcpy(start + firstRun - 1, second.get(), secondRun);",
     "decoders engine", "normalising wrapped data shifts its second run"),
    ("dsd-bit-order", "decoders/DSDFilter.cpp",
     "m_lsbFirst ? (e >> m) & 1u : (e >> (7 - m)) & 1u",
     "m_lsbFirst ? (e >> (7 - m)) & 1u : (e >> m) & 1u",
     "decoders engine cli", "DSD filter reads the bits of a byte in the wrong order"),
    ("dsd-fifo-reversal", "decoders/DSDFilter.cpp",
     "store(crossing, kBitReversal[m_fifo[crossing]]);", "store(crossing, m_fifo[crossing]);",
     "decoders engine", "the filter's mirrored half sees unreversed bytes"),
    ("mix-center-weight", "decoders/ChannelMixMap.cpp",
     "{kC, kMinus3dB, kMinus3dB},", "{kC, 1.0f, 1.0f},",
     "decoders engine cli", "down-mix takes the centre at full level"),
    ("mix-surround-side", "decoders/ChannelMixMap.cpp",
     "{kLs, kMinus3dB, 0.0f},", "{kLs, 0.0f, kMinus3dB},",
     "decoders engine cli", "left surround goes to the right channel"),
    ("mix-mono-gain", "decoders/ZTChannelMixer.cpp",
     "(in == 2 && out == 1) ? 0.70710677f : 1.0f", "(in == 2 && out == 1) ? 1.0f : 1.0f",
     "decoders engine", "stereo to mono sums without the -3 dB"),
    ("flac-total-frames", "decoders/FLACDecoder.cpp",
     "self->setTotalSamples(info.total_samples);", "self->setTotalSamples(info.total_samples - 1);",
     "decoders engine", "FLAC frame count off by one"),
    ("dsd-total-frames", "decoders/KLXDSDFile.cpp",
     "m_totalPCMSamples = n / 8;", "m_totalPCMSamples = n / 8 + 1;",
     "decoders engine", "DSD frame count off by one"),
    ("wavpack-total-frames", "decoders/WavPackDecoder.cpp",
     "return WavpackGetNumSamples64(m_wpc.get());", "return WavpackGetNumSamples64(m_wpc.get()) + 1;",
     "decoders engine", "WavPack frame count off by one"),
    ("opus-preskip", "decoders/OggOpusDecoder.cpp",
     "preskip = gran_offset = header->preskip;", "preskip = gran_offset = header->preskip - 1;",
     "decoders engine", "Opus pre-skip one sample short"),
    ("int24-top-byte", "decoders/FloatToInt24Converter.cpp",
     "out[2] = uint8_t(value >> 16);", "out[2] = uint8_t(value >> 15);",
     "decoders engine", "24-bit samples get a wrong top byte"),
    ("vorbis-5ch-layout", "decoders/ChannelLayouts.cpp",
     "{5, kAudioChannelLayoutTag_MPEG_5_0_C, {}},", "{5, kAudioChannelLayoutTag_MPEG_5_0_A, {}},",
     "decoders engine", "5-channel Vorbis read in FLAC's channel order"),
    ("factory-ape", "decoders/DecoderFactory.cpp",
     '{{"ape"}, DecoderClass::MonkeysAudio},', '{{"apx"}, DecoderClass::MonkeysAudio},',
     "decoders engine cli", "Monkey's Audio files get no decoder of their own"),
    ("dither-shaping-row", "decoders/NoiseShapedDither.cpp",
     "m_fs == 48000 ? Shaping48000 : (m_fs == 44100 ? Shaping44100 : ShapingOther)",
     "m_fs == 48000 ? Shaping44100 : (m_fs == 44100 ? Shaping48000 : ShapingOther)",
     "decoders engine", "dither uses the other rate's noise shaping"),
    # --- metadata ---
    ("id3-key-dropped", "metadata/ID3TagMapping.cpp",
     '{TextFrame::TKEY, "TKEY",', '{TextFrame::TKEY, "TKEX",',
     "metadata engine cli", "ID3 mapping drops the key (TKEY)"),
    ("id3-total-alone", "metadata/ID3TagMapping.cpp",
     'return QStringLiteral("/%1").arg(*t);', "return std::nullopt;",
     "metadata engine cli", "a track total without a number is not written"),
    ("id3-cover-limit", "metadata/ID3TagMapping.cpp",
     "- 1 - (qsizetype(1) << 20);", "- 1 - (qsizetype(1) << 21);",
     "metadata engine", "the largest cover an ID3v2 tag takes is a megabyte smaller"),
    ("xiph-grouping-dropped", "metadata/XiphCommentMapping.cpp",
     '{Row::Grouping, {"GROUPING"}', '{Row::Grouping, {"GROUPNG"}',
     "metadata engine cli", "Xiph mapping drops GROUPING"),
    ("ape-bpm-key", "metadata/APETagMapping.cpp",
     'Reading::Integer, "BPM", Writing::Integer', 'Reading::Integer, "BMP", Writing::Integer',
     "metadata engine cli", "APE tag written with BPM under a wrong key"),
    ("mp4-album-artist", "metadata/MP4TagMapping.cpp",
     '{Row::AlbumArtist, {"aART"}', '{Row::AlbumArtist, {"aARX"}',
     "metadata engine cli", "MP4 mapping drops the album artist"),
    ("date-day-month", "metadata/NaturalLanguageDate.cpp",
     "validDate(year, second, first)) {", "validDate(year, first, second)) {",
     "metadata engine", "dd/mm/yyyy dates read as mm/dd"),
    ("number-total-split", "metadata/TagValue.cpp",
     "integerValue(text.mid(slash + 1))", "integerValue(text.mid(slash))",
     "metadata engine cli", "\"3/12\" loses its total"),
    ("bool-lowercase-yes", "metadata/TagValue.cpp",
     "c == u'Y' || c == u'y' ||", "c == u'Y' ||",
     "metadata engine", "\"yes\" read as false"),
    ("midi-vlq", "metadata/ZTMIDITrack.cpp",
     "value = (value << 7) | (b & 0x7F);", "value = (value << 8) | (b & 0x7F);",
     "metadata engine", "MIDI variable-length numbers read with 8-bit groups"),
    # --- app ---
    ("overwrite-all-rename", "app/OverwriteQuestion.cpp",
     "c.m_overwriteExistingFilesHandling = 3;", "c.m_overwriteExistingFilesHandling = 2;",
     "app cli gui", "\"No\" for all in a batch overwrites the rest"),
    ("overwrite-keeps-old", "app/OverwriteQuestion.cpp",
     "if (operation->outFilePath() != operation->inFilePath()) {",
     "if (operation->outFilePath() == operation->inFilePath()) {",
     "app cli gui", "overwriting removes the source instead of the old output"),
    ("remove-last-format", "app/OutputFormatCommands.cpp",
     "if (rows.isEmpty() || list.size() <= 1) {", "if (rows.isEmpty() || list.size() < 1) {",
     "app gui", "the last output format can be removed"),
    ("max-encoders", "app/PreferencesRules.cpp",
     "if (index < static_cast<quint64>(itemCount)) {", "if (index <= static_cast<quint64>(itemCount)) {",
     "app gui", "an encoder count above the processors is kept"),
    ("naming-controls", "app/PreferencesRules.cpp",
     "controls.useCustomNaming = !preserveStructure || sameAsSource;",
     "controls.useCustomNaming = !preserveStructure;",
     "app gui", "custom naming locked when outputs go beside their sources"),
    ("run-failed-count", "app/EncodeRun.cpp",
     "c.m_failedEncodes += operation->failedEncodes();", "c.m_failedEncodes += 0 * operation->failedEncodes();",
     "app cli gui", "failed encodes are not counted"),
    # --- cli ---
    ("cli-id3v2-versions", "cli/ConvertOptions.cpp",
     "kID3v2Versions{{{3, 2}, {4, 1}}};", "kID3v2Versions{{{3, 1}, {4, 2}}};",
     "cli", "--id3v2-version 3 writes ID3v2.4 and 4 writes 2.3"),
    ("cli-exit-status", "cli/ConvertCommand.cpp",
     "QCoreApplication::exit(failed > 0 || damaged > 0",
     "QCoreApplication::exit(failed > 1 || damaged > 0",
     "cli", "one failed file still exits with success"),
    ("cli-skipped-word", "cli/ProgressDisplay.cpp",
     'result = "skipped";', 'result = "done";',
     "cli", "a skipped file is reported as done"),
    ("cli-overwrite-rename", "cli/ConvertOptions.cpp",
     'override("overwriteOutputFiles", !rename);', 'override("overwriteOutputFiles", rename);',
     "cli", "--overwrite replace renames and rename replaces"),
    ("cli-jobs-zero", "cli/ConvertOptions.cpp",
     "if (!toInt(value, 1, 64, &jobs)) {", "if (!toInt(value, 0, 64, &jobs)) {",
     "cli", "--jobs 0 is accepted"),
    # --- gui ---
    ("gui-errorlog-columns", "gui/models/ErrorLogModel.cpp",
     "return index.column() == DateColumn", "return index.column() != DateColumn",
     "gui", "error log window shows message and date in each other's column"),
    ("gui-single-instance-path", "gui/SingleInstance.cpp",
     "QFileInfo(path).absoluteFilePath().toUtf8()", "QFileInfo(path).fileName().toUtf8()",
     "gui", "a second launch hands over bare file names"),
    ("gui-notify-replaces", "gui/DesktopNotifier.cpp",
     "*lastId = reply.value();", "(void)lastId;",
     "gui", "each notification stacks instead of replacing the last"),
    ("gui-format-lock", "gui/widgets/OutputFormatsPane.cpp",
     "setEnabled(!m_controller.encoderRunning());", "setEnabled(true);",
     "gui", "output formats can be edited during a run"),
    ("gui-queue-percent", "gui/models/QueueListModel.cpp",
     "return 100.0 * double(operation->percentComplete());", "return double(operation->percentComplete());",
     "gui", "queue rows show progress as a fraction, not a percentage"),
    # --- guiservices ---
    ("png-chunk-check", "guiservices/GuiServicesModule.cpp",
     "if (length + 12 > quint64(data.size() - position)) {", "if (false) {",
     "metadata engine cli", "a PNG whose chunk lies about its size is accepted"),
    ("image-size-swap", "guiservices/GuiServicesModule.cpp",
     "*size = reader.size();", "*size = reader.size().transposed();",
     "metadata engine cli", "cover width and height swapped"),
    # --- platform ---
    ("errorlog-separator", "platform/ErrorLog.cpp",
     'QStringLiteral("%1\\t%2\\n")', 'QStringLiteral("%1 %2\\n")',
     "platform gui cli", "saved error log loses its tab between date and message"),
    ("chunk-padding", "platform/AudioFileChunks.cpp",
     "pos = start + size + ((!caf && (size & 1)) ? 1 : 0);", "pos = start + size;",
     "platform metadata engine", "odd-sized RIFF/AIFF chunks lose their pad byte"),
    ("prefs-defaults-win", "platform/Preferences.cpp",
     "return stored.isValid() ? stored : m_defaults.value(key);",
     "return m_defaults.contains(key) ? m_defaults.value(key) : stored;",
     "platform engine app", "defaults win over the user's stored values"),
    ("plist-bool", "platform/PropertyList.cpp",
     'const bool value = name == QLatin1StringView("true");',
     'const bool value = name != QLatin1StringView("true");',
     "platform engine", "property-list booleans read inverted"),
]
MUTANTS = [dict(zip(("id", "file", "old", "new", "labels", "what"), m)) for m in M]


def applicable(m):
    path = ROOT / "Classes" / m["file"]
    return path.exists() and path.read_text().count(m["old"]) == 1


class Runner:
    """Runs commands in their own process group, so that an interrupt can end
    the whole build or test run it started."""

    def __init__(self):
        self.proc = None

    def run(self, cmd, log, timeout=None):
        with open(log, "a") as out:
            out.write("$ " + " ".join(cmd) + "\n")
            out.flush()
            self.proc = subprocess.Popen(cmd, stdout=out, stderr=subprocess.STDOUT, start_new_session=True)
            try:
                return self.proc.wait(timeout=timeout)
            except subprocess.TimeoutExpired:
                self.stop()
                return None
            finally:
                self.stop()
                self.proc = None

    def stop(self):
        if self.proc and self.proc.poll() is None:
            os.killpg(self.proc.pid, signal.SIGTERM)
            try:
                self.proc.wait(timeout=20)
            except subprocess.TimeoutExpired:
                os.killpg(self.proc.pid, signal.SIGKILL)
                self.proc.wait()


def ctest_command(build, labels):
    return ["ctest", "--test-dir", str(build), "-j2", "-L", "^(%s)$" % "|".join(labels),
            "--stop-on-failure", "--timeout", str(TEST_TIMEOUT), "--no-tests=error", "--output-on-failure"]


def first_failure(log):
    """The first test ctest reports failed, timed out or crashed."""
    found = re.search(r"Test +#\d+: (\S+) \.*\*\*\*(\w+)", Path(log).read_text(errors="replace"))
    return f"{found.group(1)} ({found.group(2)})" if found else ""


def run_mutant(m, args, runner, logdir):
    labels = m["labels"].split()[: args.max_labels]
    path = ROOT / "Classes" / m["file"]
    original = path.read_bytes()
    log = logdir / (m["id"] + ".log")
    log.write_text("")
    started = time.time()
    result = {"id": m["id"], "file": m["file"], "labels": labels, "what": m["what"]}
    try:
        path.write_bytes(original.replace(m["old"].encode(), m["new"].encode(), 1))
        targets = sorted({"test_" + label for label in labels})
        built = runner.run(["nice", "cmake", "--build", str(args.build), "-j2", "--target", *targets], log)
        if built != 0:
            result["status"] = "not built"
        else:
            code = runner.run(ctest_command(args.build, labels), log, timeout=args.run_timeout)
            # A failure that does not come again is a flaky test, not a kill:
            # the whole run is made once more.
            if code not in (0, None) and runner.run(ctest_command(args.build, labels) + ["--rerun-failed"],
                                                   log, timeout=args.run_timeout) == 0:
                result["flaky"] = first_failure(log)
                log.write_text(log.read_text(errors="replace") + "\n=== a flaky failure: the run again\n")
                code = runner.run(ctest_command(args.build, labels), log, timeout=args.run_timeout)
            text = log.read_text(errors="replace")
            if code is None:
                result["status"], result["by"] = "killed", "the test run timed out"
            elif code != 0 and ("tests failed" in text or "***" in text):
                result["status"], result["by"] = "killed", first_failure(log)
            elif code == 0:
                result["status"] = "survived"
            else:
                result["status"] = "error"
    finally:
        path.write_bytes(original)
    result["seconds"] = round(time.time() - started)
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build", help="the shipped build tree (default: build)")
    parser.add_argument("--only", help="comma-separated mutant ids")
    parser.add_argument("--list", action="store_true", help="list the mutants and whether each applies")
    parser.add_argument("--json", default="build/mutants.json", help="where to write the results")
    parser.add_argument("--compare", help="results of an earlier run: fail when a mutant it killed survives now")
    parser.add_argument("--max-labels", type=int, default=None, help="run only the first N labels of each mutant")
    parser.add_argument("--run-timeout", type=int, default=1800, help="seconds for one mutant's whole test run")
    parser.add_argument("--merge", help="results of an earlier run to keep for the mutants not run now")
    parser.add_argument("--no-baseline", action="store_true", help="skip the check that the unmutated tree passes")
    args = parser.parse_args()
    args.build = (ROOT / args.build).resolve() if not os.path.isabs(args.build) else Path(args.build)

    mutants = MUTANTS
    if args.only:
        wanted = args.only.split(",")
        unknown = set(wanted) - {m["id"] for m in MUTANTS}
        if unknown:
            sys.exit("unknown mutant id(s): " + ", ".join(sorted(unknown)))
        mutants = [m for m in MUTANTS if m["id"] in wanted]
    # Round robin over the folders, so that a run cut short still spans them all.
    rank = {}
    for m in mutants:
        folder = m["file"].split("/")[0]
        rank[m["id"]] = rank.get(folder, 0)
        rank[folder] = rank[m["id"]] + 1
    mutants = sorted(mutants, key=lambda m: rank[m["id"]])
    if args.list:
        for m in mutants:
            state = "" if applicable(m) else "  NOT APPLIED (snippet not found exactly once)"
            print(f'{m["id"]:26} {m["file"]:36} [{m["labels"]}] {m["what"]}{state}')
        return 0

    # SIGTERM unwinds like Ctrl-C, so that every finally restores the source.
    signal.signal(signal.SIGTERM, lambda *_: (_ for _ in ()).throw(KeyboardInterrupt()))
    runner = Runner()
    logdir = args.build / "mutants-logs"
    logdir.mkdir(parents=True, exist_ok=True)
    results = []
    started = time.time()
    try:
        if not args.no_baseline:
            labels = sorted({label for m in mutants for label in m["labels"].split()[: args.max_labels]})
            log = logdir / "baseline.log"
            log.write_text("")
            print("baseline: build and run " + " ".join(labels), flush=True)
            t = time.time()
            if runner.run(["nice", "cmake", "--build", str(args.build), "-j2"], log) != 0 or \
                    runner.run(ctest_command(args.build, labels), log) != 0:
                sys.exit(f"the unmutated tree does not pass: see {log}")
            print(f"baseline passed in {time.time() - t:.0f} s", flush=True)
        for n, m in enumerate(mutants, 1):
            if not applicable(m):
                results.append({"id": m["id"], "file": m["file"], "labels": m["labels"].split(),
                                "what": m["what"], "status": "not applied", "seconds": 0})
            else:
                results.append(run_mutant(m, args, runner, logdir))
            r = results[-1]
            print(f'[{n}/{len(mutants)}] {r["id"]:26} {r["status"]:11} {r["seconds"]:5} s  {r.get("by", "")}',
                  flush=True)
    except KeyboardInterrupt:
        print("interrupted: the source is restored", flush=True)
    finally:
        print("rebuilding the tree from the restored source", flush=True)
        runner.run(["nice", "cmake", "--build", str(args.build), "-j2"], logdir / "final-build.log")

    if args.merge and Path(args.merge).exists():
        done = {r["id"] for r in results}
        results += [r for r in json.loads(Path(args.merge).read_text())["results"] if r["id"] not in done]
    measured = {r["id"] for r in results}
    results += [{"id": m["id"], "file": m["file"], "labels": m["labels"].split()[: args.max_labels],
                 "what": m["what"], "status": "not run", "seconds": 0} for m in mutants if m["id"] not in measured]
    killed = [r for r in results if r["status"] == "killed"]
    scored = [r for r in results if r["status"] in ("killed", "survived")]
    print(f'\n{"mutant":26} {"status":11} {"labels":24} what')
    for r in results:
        print(f'{r["id"]:26} {r["status"]:11} {" ".join(r["labels"]):24} {r["what"]}')
    for status in ("survived", "not built", "not applied", "error", "not run"):
        ids = [r["id"] for r in results if r["status"] == status]
        if ids:
            print(f"{status}: {', '.join(ids)}")
    score = f"{len(killed)}/{len(scored)}"
    print(f"\nscore (killed/applicable): {score}   ({time.time() - started:.0f} s)")

    report = {"date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
              "commit": subprocess.run(["git", "-C", str(ROOT), "rev-parse", "--short", "HEAD"],
                                       capture_output=True, text=True).stdout.strip(),
              "max_labels": args.max_labels, "score": score, "results": results}
    Path(args.json).parent.mkdir(parents=True, exist_ok=True)
    Path(args.json).write_text(json.dumps(report, indent=1) + "\n")
    print(f"results written to {args.json}")

    if args.compare:
        before = json.loads(Path(args.compare).read_text())
        now = {r["id"]: r["status"] for r in results}
        lost = [r["id"] for r in before["results"] if r["status"] == "killed" and now.get(r["id"]) != "killed"]
        print(f'before: {before["score"]}, now: {score}')
        if lost:
            print("killed before, not killed now: " + ", ".join(lost))
            return 1
        print("every mutant killed before is killed now")
    return 0


if __name__ == "__main__":
    sys.exit(main())
