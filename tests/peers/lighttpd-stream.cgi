# A CGI page for lighttpd: the file of the site named by the query string,
# written in parts of growing size (1, 4, 13, 40, ... bytes) with a pause
# after each, so that the server sends each part before the next exists.
file=$DOCUMENT_ROOT/$(basename "$QUERY_STRING")
if [ ! -f "$file" ]; then
  printf 'Status: 404 Not Found\r\nContent-Type: text/plain\r\n\r\nno such file\n'
  exit 0
fi
case $file in
  *.html) type=text/html ;;
  *.txt) type=text/plain ;;
  *) type=application/octet-stream ;;
esac
printf 'Content-Type: %s\r\n\r\n' "$type"
size=$(stat -c %s "$file")
at=0
part=1
while [ "$at" -lt "$size" ]; do
  dd if="$file" iflag=skip_bytes,count_bytes skip="$at" count="$part" status=none
  at=$((at + part))
  part=$((part * 3 + 1))
  sleep 0.02
done
