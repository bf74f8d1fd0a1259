#!/usr/bin/env bash
# A root of another architecture to build against: cross-root.sh ARCH FOLDER PACKAGE...
# Downloads the packages and what they need with settings of its own, and unpacks them below FOLDER: nothing of the
# machine is changed, and no root rights are needed. A root of the same packages is left as it is.
set -euo pipefail

arch=$1 folder=$2
shift 2
root=$folder/root list=$folder/root.packages

if [[ -d $root && -f $list && $(<"$list") == "$*" ]]; then
    exit 0
fi
rm -rf "$root" "$list" "$folder/apt"
mkdir -p "$root" "$folder/apt/lists/partial" "$folder/apt/archives/partial"
apt_folder=$(realpath "$folder/apt")
: >"$apt_folder/status"

# Debian's own entries of this machine's sources: others seldom have the architecture.
apt-get indextargets --format "deb [arch=$arch signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] \$(REPO_URI) \$(RELEASE) \$(COMPONENT)" \
    'Created-By: Packages' 'Origin: Debian' | sort -u >"$apt_folder/sources.list"
[[ -s $apt_folder/sources.list ]] || {
    echo "cross: this machine knows no package list of Debian's. Run apt-get update and repeat the command." >&2
    exit 1
}
cat >"$apt_folder/apt.conf" <<TEXT
APT::Architecture "$arch";
APT::Architectures { "$arch"; };
APT::Install-Recommends "false";
APT::Sandbox::User "";
Dir::State "$apt_folder";
Dir::State::status "$apt_folder/status";
Dir::Cache "$apt_folder";
Dir::Etc::sourcelist "$apt_folder/sources.list";
Dir::Etc::sourceparts "-";
#clear DPkg::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
TEXT
export APT_CONFIG=$apt_folder/apt.conf
echo "cross: downloading $arch packages into $folder" >&2
apt-get -qq update || echo "cross: going on with the lists that could be fetched" >&2
apt-get -qq -y --download-only install "$@"
for archive in "$apt_folder"/archives/*.deb; do
    dpkg-deb -x "$archive" "$root"
done
# Nothing of it is run in place.
rm -rf "${root:?}"/{bin,sbin,usr/bin,usr/sbin,usr/share/doc,usr/share/locale,usr/share/man,var}
# A link to an absolute path would lead out of the root.
find "$root" -type l -lname '/*' -printf '%p %l\n' | while read -r link target; do
    ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$root$target")" "$link"
done
rm -rf "$apt_folder"
echo "$*" >"$list"
