# For scripts that type what a README shows: a new folder without settings. Arguments: README FOLDER_OF_vntfix
readme=$(realpath "$1")
PATH=$(realpath "$2"):$PATH
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export VNTFIX_WINDIR=$folder/none VNTFIX_CDRIVE=$folder/none
cd "$folder"
