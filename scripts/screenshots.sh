#!/usr/bin/env bash
# Runs the real desktop program on a virtual X server with a generated album
# queued, and saves PNG screenshots of what a user sees into
# build/screenshots: the main window in the middle of a run, the error log
# window after a broken file failed, the overwrite question, every pane of
# the preferences, the metadata editor with three rows selected, and the
# first launch (its welcome, then the window), an album image split by its
# cue sheet, at 100 %
# and at 200 % scale (NAME@2x.png).
#
#   bash scripts/screenshots.sh [BUILD-DIR]
#
# Needs the program built (build/Classes/sonabrik) and xvfb-run, xdotool,
# ImageMagick's import, xwininfo and openbox (scripts/install-deps.sh installs them).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
program="$build/Classes/sonabrik"
shots="$build/screenshots"

if [ -z "${SONABRIK_SCREENSHOT_DISPLAY:-}" ]; then
    exec xvfb-run -a -s "-screen 0 2200x1700x24" env SONABRIK_SCREENSHOT_DISPLAY=1 bash "$0" "$build"
fi

work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

# A private session: settings, music folder and runtime folder of its own.
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_HOME="$work/home/.local/share"
export XDG_RUNTIME_DIR="$work/run"
mkdir -p "$XDG_CONFIG_HOME/Sonabrik" "$XDG_RUNTIME_DIR" "$HOME/Music/Sonabrik" "$shots"
chmod 700 "$XDG_RUNTIME_DIR"
cat > "$XDG_CONFIG_HOME/Sonabrik/Sonabrik.conf" <<CONF
[General]
firstRun=false
destinationDirectory=$HOME/Music/Sonabrik
numProcesses=2
overwriteOutputFiles=true
promptBeforeOverwriting=true
showLogOnError=true
CONF

# The album: eight tagged FLAC tracks of four minutes with their cover, and
# one broken file.
album="$HOME/Music/The Quiet Orchards - North of Tidewater"
mkdir -p "$album"
convert -size 300x300 gradient:'#f6d365-#fda085' -fill '#2b5876' -draw 'rectangle 0,210 300,300' \
    -fill '#fdf6e3' -draw 'circle 150,130 150,175' -fill '#4e4376' -draw 'polygon 0,210 90,150 170,210' \
    -quality 85 "$work/cover.jpg"
titles=("Lantern Road" "Salt and Cedar" "North of Tidewater" "The Ferryman's Daughter"
        "Low Tide Hymn" "Orchard Lights" "Paper Boats" "Harbour at Dusk")
for i in "${!titles[@]}"; do
    n=$(printf '%02d' $((i + 1)))
    sox -D -n -r 44100 -c 2 -b 16 "$work/track.wav" synth 240 sine $((196 + 40 * i)) sine $((294 + 30 * i)) \
        tremolo 5 30 vol 0.4
    flac -s -f --fast -T "TITLE=${titles[$i]}" -T "ARTIST=The Quiet Orchards" -T "ALBUM=North of Tidewater" \
        -T "TRACKNUMBER=$((i + 1))" -T "DATE=2024" \
        --picture="3||North of Tidewater||$work/cover.jpg" -o "$album/$n ${titles[$i]}.flac" "$work/track.wav"
done
{ head -c 42 "$album/01 Lantern Road.flac"; head -c 20000 /dev/zero | tr '\0' 'U'; } > "$album/09 Damaged Copy.flac"

shot() { # window-id file: the window with its frame, cut from the screen
    local geometry
    geometry=$(xwininfo -frame -id "$1" | awk '/Absolute upper-left X/ {x = $4} /Absolute upper-left Y/ {y = $4}
        / Width:/ {w = $2} / Height:/ {h = $2} END {printf "%dx%d+%d+%d", w, h, x, y}')
    import -window root -crop "$geometry" +repage "$shots/$2"
    echo "saved $shots/$2"
}

command -v openbox >/dev/null && { openbox >/dev/null 2>&1 & pids+=($!); sleep 0.5; }

"$program" "$album" >/dev/null 2>&1 &
pids+=($!)
main=$(xdotool search --sync --onlyvisible --name '^Sonabrik$' | head -1)
xdotool windowmove "$main" 80 40 windowsize "$main" 980 700
sleep 2

# Every pane of the preferences (Ctrl+1 ... Ctrl+7 switch them). The
# window closes again before the run: a run closes it anyway.
preferences_shots() { # suffix
    local panes=(general music-library queue album-artwork metadata error-log dsd) preferences
    xdotool windowactivate --sync "$main" key ctrl+comma
    preferences=$(xdotool search --sync --onlyvisible --name '^Sonabrik Preferences$' | head -1)
    xdotool windowmove "$preferences" 160 80
    for i in "${!panes[@]}"; do
        xdotool windowactivate --sync "$preferences" key "ctrl+$((i + 1))"
        sleep 0.7
        shot "$preferences" "preferences-${panes[$i]}$1.png"
    done
    xdotool windowactivate --sync "$preferences" key Escape
    sleep 0.5
}
preferences_shots ""

# The metadata editor on the first three rows (the first is selected once
# the queue is filled): a click on it, two more with Shift+Down.
metadata_shots() { # suffix row-y
    local editor
    xdotool windowactivate --sync "$main"
    xdotool mousemove --window "$main" 300 "$2" click 1
    sleep 0.3
    xdotool key shift+Down shift+Down
    sleep 0.5
    xdotool key ctrl+i
    editor=$(xdotool search --sync --onlyvisible --name '^Metadata Editor$' | head -1)
    xdotool windowmove "$editor" 140 90
    sleep 1
    shot "$editor" "metadata-editor$1.png"
    xdotool windowactivate --sync "$editor" key ctrl+2
    sleep 0.5
    shot "$editor" "metadata-editor-lyrics$1.png"
    xdotool key ctrl+3
    sleep 0.5
    shot "$editor" "metadata-editor-file$1.png"
    xdotool key ctrl+1 Escape
    sleep 0.5
}
metadata_shots "" 150

# The run, in the middle.
xdotool windowactivate --sync "$main" key ctrl+Return
sleep 3
shot "$main" main-window-converting.png

# The broken file fails: once the run is over, its report is answered and
# the log opened from the Window menu's shortcut.
for _ in $(seq 120); do
    [ "$(ls "$HOME/Music/Sonabrik" | wc -l)" -ge 8 ] && break
    sleep 0.5
done
sleep 3
xdotool windowactivate --sync "$main" key Return
sleep 1
xdotool key --window "$main" ctrl+l
log=$(xdotool search --sync --onlyvisible --name '^Error Log' | head -1)
xdotool windowmove "$log" 200 220 windowraise "$log"
sleep 1
shot "$log" error-log.png
xdotool windowunmap "$log"
sleep 1

# The same album again: its outputs exist, so the first one asks.
"$program" "$album"
sleep 2
xdotool windowactivate --sync "$main" key ctrl+Return
sleep 2
shot "$main" overwrite-question.png

# The preferences again at 200 %, in a fresh program.
app=${pids[-1]}
kill "$app" 2>/dev/null || true
wait "$app" 2>/dev/null || true
sleep 1
QT_SCALE_FACTOR=2 "$program" "$album" >/dev/null 2>&1 &
pids+=($!)
main=$(xdotool search --sync --onlyvisible --name '^Sonabrik$' | head -1)
xdotool windowmove "$main" 0 0
sleep 2
preferences_shots "@2x"
metadata_shots "@2x" 300

# The first launch, with no preferences at all: the welcome, then the window
# with the output folder the welcome set up.
app=${pids[-1]}
kill "$app" 2>/dev/null || true
wait "$app" 2>/dev/null || true
export HOME="$work/first" XDG_CONFIG_HOME="$work/first/.config" XDG_DATA_HOME="$work/first/.local/share"
mkdir -p "$HOME"
"$program" >/dev/null 2>&1 &
pids+=($!)
xdotool search --sync --onlyvisible --name '^Sonabrik' >/dev/null
sleep 3
import -window root -trim +repage "$shots/first-launch-welcome.png"
echo "saved $shots/first-launch-welcome.png"
xdotool key Return
sleep 2
import -window root -trim +repage "$shots/first-launch.png"
echo "saved $shots/first-launch.png"

# A folder holding an album image and its cue sheet, given to a fresh window
# as a drop gives it: one row per track, titled from the sheet.
app=${pids[-1]}
kill "$app" 2>/dev/null || true
wait "$app" 2>/dev/null || true
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_HOME="$work/home/.local/share"
image="$HOME/Music/The Quiet Orchards - Live at the Old Mill"
mkdir -p "$image"
sox -D -n -r 44100 -c 2 -b 16 "$work/image.wav" synth 150 sine 220 sine 330 tremolo 3 40 vol 0.4
flac -s -f --fast -o "$image/Live at the Old Mill.flac" "$work/image.wav"
cat > "$image/Live at the Old Mill.cue" <<'CUE'
REM GENRE Folk
REM DATE 2025
PERFORMER "The Quiet Orchards"
TITLE "Live at the Old Mill"
FILE "Live at the Old Mill.wav" WAVE
  TRACK 01 AUDIO
    TITLE "Opening Bells"
    INDEX 01 00:00:00
  TRACK 02 AUDIO
    TITLE "Lantern Road (Live)"
    INDEX 00 00:24:00
    INDEX 01 00:25:12
  TRACK 03 AUDIO
    TITLE "Millstream"
    INDEX 01 00:51:40
  TRACK 04 AUDIO
    TITLE "Salt and Cedar (Live)"
    INDEX 01 01:17:00
  TRACK 05 AUDIO
    TITLE "A Song for the Miller's Wife"
    PERFORMER "The Quiet Orchards with Ada Byrne"
    INDEX 01 01:44:63
  TRACK 06 AUDIO
    TITLE "Encore: Harbour at Dusk"
    INDEX 01 02:08:30
CUE
"$program" "$image" >/dev/null 2>&1 &
pids+=($!)
main=$(xdotool search --sync --onlyvisible --name '^Sonabrik$' | head -1)
xdotool windowmove "$main" 80 40 windowsize "$main" 980 560
sleep 3
shot "$main" main-window-album-image.png
