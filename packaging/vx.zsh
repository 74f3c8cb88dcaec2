#compdef vx
# Completion of vx for zsh. Written by vx help --completion zsh; script/lint --update makes it anew.
typeset -gA _vx_words=(
    '/' 'capture:Move live frames from an address into stream FIFOs
record:Record stream FIFOs into MP4 files
camera:Cameras, and how long their recordings are kept
db:The databases of the package
doctor:Look for what is wrong with this box; says why it matters and what mends it
event:Recorded events, their rows and their files
fifo:See, watch and clean up the frame FIFOs of this box
help:The manual page and the completion for shells, as text
history:What rules did
log:What running processes log, and the logs that are kept
msg:Messages to the package'\''s daemons
notify:Notifications
rotate:What is old goes, within the limits of each target
rule:Action rules: what happens when
task:Tasks whose recordings are rotated
webhook:Where notifications are posted
--help:Print this help message and exit
--version:Display program version information and exit'
    '/capture' '--help:Print this help message and exit
--format:Name of the input format, where the address does not say it
--input-option:NAME=VALUE for the input (rtsp_transport=tcp)
--realtime:Write each frame at its time (the default but for cameras)
--fast:Write as fast as frames come; readers that cannot follow lose frames
--loop:Start again at the end; time stamps go on growing
--key:IPC key of the video'\''s FIFO; the 30 keys behind it are used too
--audio-key:IPC key of the sound'\''s FIFO; the 30 behind it are used too
--entry-size:Bytes of a video slot at first (K and M understood); slots grow up to 4M
--slots:Slots of each FIFO
--prefault:Back the slots with memory before the first frame
--wait-readers:Hold the first frame back until N readers of each FIFO have counted themselves as connected (30 s at most)
--trace:Write one line a frame to FILE: key, ID, time stamp, size, flags, hash, monotonic ns
--json:Print the summary as JSON'
    '/record' '--help:Print this help message and exit
--dir:Folder for segments, named by the UTC time of their start
--camera:Record events of this camera into rec, with rows that rotation goes by
--group:Recording group of the events: continuous or event
--segment:Start a new segment at the first key frame after SECONDS
--key:IPC key of the video'\''s FIFO
--audio-key:IPC key of the sound'\''s FIFO
--duration:End after SECONDS of recording
--wait:Wait SECONDS for a FIFO that is not there, or whose writer has gone; -1 = for ever
--once:End when the FIFOs have gone, instead of waiting for new ones
--trace:Write one line a frame to FILE: key, ID, time stamp, size, flags, hash, monotonic ns
--json:Print the summary as JSON'
    '/camera' 'list:List all cameras with their limits
show:Show one camera
add:Add a camera
edit:Change a camera; what is not named stays
rm:Remove a camera; its recordings stay
--help:Print this help message and exit'
    '/camera list' '--help:Print this help message and exit
--json:Print JSON'
    '/camera show' '--help:Print this help message and exit
--json:Print JSON'
    '/camera add' '--help:Print this help message and exit
--id:Make a camera of a lost database anew, under the number of its recordings
--days:Keep so many days; 0 = any age
--size:Keep so many megabytes; 0 = any size
--group:Recording group that --days and --size are for
--disable:Switch the camera off
--json:Print JSON'
    '/camera edit' '--help:Print this help message and exit
--name:A new name
--days:Keep so many days; 0 = any age
--size:Keep so many megabytes; 0 = any size
--group:Recording group that --days and --size are for
--disable:Switch the camera off
--json:Print JSON
--enable:Switch the camera on'
    '/camera rm' '--help:Print this help message and exit
--yes:Do not ask'
    '/db' 'info:What exists, its schema version, size and rows
check:Read all of it and say what is damaged
vacuum:Give unused space back to the volume
--help:Print this help message and exit'
    '/db info' '--help:Print this help message and exit
--json:Print an array of objects'
    '/db check' '--help:Print this help message and exit
--json:Print an array of objects'
    '/db vacuum' '--help:Print this help message and exit
--json:Print an array of objects'
    '/doctor' '--help:Print this help message and exit
--json:Print JSON'
    '/event' 'ls:List events in the order in which they were made, by id
mark:Mark events as deleted; the sweep removes their files
sweep:Delete what is marked: files first, rows last; events, archives, time-lapses, analytics, faces and alerts
check:Compare all rows with all files
repair:Mend what check names; no recording is removed
adopt:Record on another volume in place of one that is lost for good; changes no row and no file
--help:Print this help message and exit'
    '/event ls' '--help:Print this help message and exit
--camera:Only of this camera
--group:Only of this recording group: continuous or event
--archive:Of this archive task instead of the box itself
--before:Only those that ended before: "2026-11-21 08:30" or seconds since 1970
--json:Print JSON
--limit:At most so many; 0 for all
--after:Only events with a larger id: the next page
--marked:Those that are marked as deleted instead
--all:Marked or not'
    '/event mark' '--help:Print this help message and exit
--camera:Only of this camera
--group:Only of this recording group: continuous or event
--archive:Of this archive task instead of the box itself
--before:Only those that ended before: "2026-11-21 08:30" or seconds since 1970
--json:Print JSON
--dry-run:Only count them
--yes:Do not ask'
    '/event sweep' '--help:Print this help message and exit
--dry-run:Only count
--yes:Do not ask
--json:Print JSON'
    '/event check' '--help:Print this help message and exit
--json:Print JSON'
    '/event repair' '--help:Print this help message and exit
--dry-run:Only say what would be done
--yes:Do not ask
--json:Print JSON'
    '/event adopt' '--help:Print this help message and exit
--dry-run:Only say what would follow
--yes:Do not ask'
    '/fifo' 'cat:The elementary stream to standard output, from the newest key frame on: vx fifo cat KEY | ffplay -
ls:What exists on this box, and whether its writer still runs
rm:Remove what a writer that is gone has left under a key
stat:One FIFO: stream, rates, slots with their marks, holders
tail:One line a frame: ID, type, size, timestamp; and each jump
top:The table of ls, live; once if the output is no terminal
--help:Print this help message and exit'
    '/fifo cat' '--help:Print this help message and exit
--count:End after so many frames
--wait:Wait for the FIFO if it is not there yet
--once:End with the writer, however it ends, instead of waiting for its return
--ts:As MPEG transport stream; ends when the FIFO goes
--audio-key:With --ts: key of the FIFO with the sound'
    '/fifo ls' '--help:Print this help message and exit
--json:Print an array of objects'
    '/fifo rm' '--help:Print this help message and exit
--yes:Do not ask
--dry-run:Only say what would be removed
--force:Even if the writer is alive or readers are attached
--json:Print one object'
    '/fifo stat' '--help:Print this help message and exit
--json:Print one object'
    '/fifo tail' '--help:Print this help message and exit
--count:End after so many frames
--from-key:Start with the newest key frame instead of the newest frame
--wait:Wait for the FIFO if it is not there yet
--once:End with the writer, however it ends, instead of waiting for its return
--json:Print one object a line
--quiet:Print no frames, only what else happens
--trace:Also write a line with a hash and a time for each frame to FILE'
    '/fifo top' '--help:Print this help message and exit
--count:End after so many tables
--seconds:Time between two tables
--json:Print one array a line'
    '/help' '--help:Print this help message and exit
--man:The manual page, for man(1)
--completion:The completion for this shell'
    '/history' 'list:List the history, newest first
rm:Remove lines
--help:Print this help message and exit'
    '/history list' '--help:Print this help message and exit
--limit:Lines of the page; 0 for all
--offset:Lines to skip
--json:Print JSON'
    '/history rm' '--help:Print this help message and exit
--before:Not after this time: "2026-11-21 08:30" or seconds since 1970
--older-than:Older than so many days
--all:The whole history
--yes:Do not ask
--dry-run:Only count them
--json:Print JSON'
    '/log' 'show:The thresholds and the pid list
set:Change a threshold; running processes obey at their next line
filter:Apply the thresholds to these processes only; without PID, to every process
tail:The last lines of the log
add:Add entries to a log
archive:What was archived
keep:Show and change how long logs are kept
rotate:Archive and remove what logs hold beyond their limits, again and again
--help:Print this help message and exit'
    '/log show' '--help:Print this help message and exit
--json:Print JSON
--all:All 512 categories, also those without a name'
    '/log set' '--help:Print this help message and exit'
    '/log filter' '--help:Print this help message and exit
--clear:Same as no PID'
    '/log tail' '--help:Print this help message and exit
--lines:How many lines
--follow:Go on with the lines that come, also through rotation
--category:Only this category; may be given again
--level:Only this level and more severe ones
--json:One JSON document a line'
    '/log add' '--help:Print this help message and exit
--stdin:An entry each line of standard input
--time:"2026-11-21 08:30" or seconds since 1970; now without it
--name:Device, task, user or sender
--level:Of the system log and the history
--owner:Id of the module, intercom, camera, or of a bookmark'\''s recording
--category:Of the event log: 0 system, 1 camera, 2 recording ...
--server:Of the event log: recording server, 0 for this box
--json:Print JSON'
    '/log archive' 'ls:List the archives of the system log, the event log and the I/O module log
show:Print what an archive holds
--help:Print this help message and exit'
    '/log archive ls' '--help:Print this help message and exit
--dir:Another folder than that of the settings
--json:Print JSON'
    '/log archive show' '--help:Print this help message and exit
--dir:Another folder than that of the settings
--format:Which of its files
--json:Print JSON, an entry a line'
    '/log keep' '--help:Print this help message and exit
--on:Rotate this log
--off:Keep everything of this log
--days:Keep at most this many days
--size-mb:Keep at most this many megabytes, or off
--count:Keep at most this many rows, or off
--archive-dir:Where archives go, or default
--json:Print JSON'
    '/log rotate' '--help:Print this help message and exit
--once:Once, and end
--plan:Show what would go, and change nothing
--every:Seconds between two rotations
--json:Print JSON'
    '/msg' 'tail:Show announced changes as they come, one JSON object a line
--help:Print this help message and exit'
    '/msg tail' '--help:Print this help message and exit'
    '/notify' 'preview:Write the mail that a notification becomes; sends nothing
--help:Print this help message and exit'
    '/notify preview' '--help:Print this help message and exit
--text:The text of the message; without it, it is read from a file
--text-file:Where the text is; - (the default): standard input
--subject:The subject
--from:Who sends it
--to:Who gets it; may be given again
--type:Number of the kind; says whether a picture belongs to it
--picture:A picture or clip that the message shows in place
--cid:Content id of the picture
--date:Seconds since 1970; without it, now
--out:Where to; - (the default): standard output
--json:Print JSON, the message as one text'
    '/rotate' 'plan:Show what each limit would remove of each target; touches nothing
run:Keep every target within its limits: mark, sweep, report, wait, again
--help:Print this help message and exit'
    '/rotate plan' '--help:Print this help message and exit
--reserve:Megabytes to be left free, instead of what is configured
--rows:Also list so many of the oldest of each limit
--json:Print JSON'
    '/rotate run' '--help:Print this help message and exit
--once:One round, then end
--interval:Seconds between two rounds
--reserve:Megabytes to be left free, instead of what is configured
--no-sweep:Only mark; vx event sweep deletes
--json:Print one JSON object a round'
    '/rule' 'list:List the rules
show:Show one rule
enable:Switch rules on
disable:Switch rules off
rm:Remove rules
add:Make a rule; prints its id
edit:Change fields of a rule; what is not given stays
export:Write all rules as one JSON document
import:Store the rules of such a document: all of them, or none
explain:Say why a rule fires, or why it does not
watch:Judge the rules by reports of sensors; writes history, fires nothing else
--help:Print this help message and exit'
    '/rule list' '--help:Print this help message and exit
--json:Print JSON
--show-secrets:Print passwords, too'
    '/rule show' '--help:Print this help message and exit
--json:Print JSON
--show-secrets:Print passwords, too'
    '/rule enable' '--help:Print this help message and exit
--json:Print JSON'
    '/rule disable' '--help:Print this help message and exit
--json:Print JSON'
    '/rule rm' '--help:Print this help message and exit
--json:Print JSON
--yes:Do not ask
--dry-run:Only say what would be removed'
    '/rule add' '--help:Print this help message and exit
--record:Fields as a JSON object, named as vx rule show prints them
--from:A file with that object; - for standard input
--name:Display name
--schedule:When it is active: "mon-fri 08:00-18:00; sat 10:00-14:00"
--event:What triggers it: motion, "digital input", doorbell, ...
--camera:Where: the camera'\''s id, -1 for every camera
--item:Which: the port, the application'\''s or the task'\''s id
--action:What it does: the action'\''s number
--min-interval:Seconds between two triggers at least
--json:Print the stored rule as JSON'
    '/rule edit' '--help:Print this help message and exit
--record:Fields as a JSON object, named as vx rule show prints them
--from:A file with that object; - for standard input
--name:Display name
--schedule:When it is active: "mon-fri 08:00-18:00; sat 10:00-14:00"
--event:What triggers it: motion, "digital input", doorbell, ...
--camera:Where: the camera'\''s id, -1 for every camera
--item:Which: the port, the application'\''s or the task'\''s id
--action:What it does: the action'\''s number
--min-interval:Seconds between two triggers at least
--json:Print the stored rule as JSON'
    '/rule export' '--help:Print this help message and exit
--show-secrets:Passwords in plain text, for another box
--json:With a FILE: print as JSON what was written'
    '/rule import' '--help:Print this help message and exit
--dry-run:Only check it
--json:Print JSON'
    '/rule explain' '--help:Print this help message and exit
--at:When: "2026-11-21 08:30" (local), seconds since 1970, now (the default)
--state:Reports of sensors up to then, as vx rule watch reads them; - for standard input
--last-fired:When it fired last, for its minimum interval
--json:Print JSON'
    '/rule watch' '--help:Print this help message and exit
--fires-only:Print only rules that fire
--no-history:Write no history
--json:Print one JSON object a verdict'
    '/task' 'list:List tasks with their limits
show:Show one task
add:Add a task
edit:Change a task; what is not named stays
rm:Remove a task; its recordings stay
limits:Show or set the limits of the whole box
--help:Print this help message and exit'
    '/task list' '--help:Print this help message and exit
--json:Print JSON'
    '/task show' '--help:Print this help message and exit
--json:Print JSON'
    '/task add' '--help:Print this help message and exit
--id:Make a task of a lost database anew, under the number of its recordings
--camera:Camera that it works on; 0 for none
--share:Folder of its recordings, below rec
--on-camera:iva: whether it runs on the camera itself (true, false)
--days:Keep so many days; 0 = any age
--size:Keep so many megabytes; 0 = any size
--number:Keep so many items; 0 = any number
--json:Print JSON'
    '/task edit' '--help:Print this help message and exit
--name:A new name
--camera:Camera that it works on; 0 for none
--share:Folder of its recordings, below rec
--on-camera:iva: whether it runs on the camera itself (true, false)
--days:Keep so many days; 0 = any age
--size:Keep so many megabytes; 0 = any size
--number:Keep so many items; 0 = any number
--json:Print JSON'
    '/task rm' '--help:Print this help message and exit
--yes:Do not ask'
    '/task limits' '--help:Print this help message and exit
--alert-days:Keep alerts so many days; 0 = for ever
--reserve:Megabytes that recordings leave free on their volume
--json:Print JSON'
    '/webhook' 'list:List the webhooks
show:Show one webhook
add:Add a webhook
edit:Change a webhook; what is not given stays
rm:Remove a webhook
--help:Print this help message and exit'
    '/webhook list' '--help:Print this help message and exit
--json:Print JSON
--show-secrets:Print tokens, too'
    '/webhook show' '--help:Print this help message and exit
--json:Print JSON
--show-secrets:Print tokens, too'
    '/webhook add' '--help:Print this help message and exit
--name:What it is called
--url:Address to post to, http or https
--method:GET, POST, PUT or DELETE
--content-type:json, form, text or xml
--provider:custom or chat
--body:Body of the request
--token:Secret that the receiver expects
--host-url:Address at which the receiver finds this box
--headers:Further headers, one "Name: value" a line
--enable:Whether it is used
--disable:Whether it is used
--record:The record as JSON text
--from:File with the record as JSON; - is standard input
--json:Print the record as it is stored
--dry-run:Only say what would be stored'
    '/webhook edit' '--help:Print this help message and exit
--name:What it is called
--url:Address to post to, http or https
--method:GET, POST, PUT or DELETE
--content-type:json, form, text or xml
--provider:custom or chat
--body:Body of the request
--token:Secret that the receiver expects
--host-url:Address at which the receiver finds this box
--headers:Further headers, one "Name: value" a line
--enable:Whether it is used
--disable:Whether it is used
--record:The record as JSON text
--from:File with the record as JSON; - is standard input
--json:Print the record as it is stored
--dry-run:Only say what would be stored'
    '/webhook rm' '--help:Print this help message and exit
--json:Print JSON
--yes:Do not ask
--dry-run:Only say what would be removed'
)
_vx() {
    local place="" next i
    local -a choices
    for ((i = 2; i < CURRENT; i++)); do
        next="${place:+$place }${words[i]}"
        (( ! ${+_vx_words[/$next]} )) || place=$next
    done
    choices=("${(@f)_vx_words[/$place]}")
    _describe vx choices || _files
}
if [ "${funcstack[1]}" = _vx ]; then # loaded for the first completion
    _vx "$@"
else
    compdef _vx vx
fi
