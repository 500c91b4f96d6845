#!/usr/bin/env bash
# Installs everything Sonabrik needs to build, run and test on Debian 12 (or
# Ubuntu), from the distribution's own packages. Safe to run again: when every
# package is already present it only asks dpkg and returns within a second.
set -euo pipefail

packages=(
  # build
  build-essential cmake ninja-build pkg-config ccache
  # libraries
  qt6-base-dev qt6-image-formats-plugins libqt6svg6 libgl-dev
  libmp3lame-dev libtag1-dev libflac-dev libogg-dev libvorbis-dev
  libopus-dev libspeex-dev libspeexdsp-dev libsoxr-dev libwavpack-dev libmpcdec-dev
  libmodplug-dev libsndfile1-dev libcue-dev libssl-dev
  libavformat-dev libavcodec-dev libavutil-dev libswresample-dev libmpg123-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev libebur128-dev
  sox flac lame vorbis-tools opus-tools speex wavpack musepack-tools ffmpeg sndfile-programs
  python3 python3-mutagen xvfb xauth time gcovr
  # screenshots of the desktop program
  xdotool imagemagick x11-utils openbox
  # checks of the desktop entry and the software-centre description
  desktop-file-utils appstream shared-mime-info
  # the Debian package and its check
  dpkg-dev lintian bash-completion
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
