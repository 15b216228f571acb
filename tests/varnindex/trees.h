// The scripts of trees_test.cpp: changes to a tree of files, and the rows that a scan makes of it.
#pragma once

namespace tonvale_test {

// A line of a script is a command:
//   put PATH TITLE[/SOUND]   a song; its sound and size are those of SOUND, else of TITLE
//   sample PATH NAME         a copy of a sample
//   sheet PATH               a cue sheet of two tracks beside the file
//   write PATH TEXT          a file of this text, whose lines end at "|"
//   mv FROM TO, cp FROM TO, rm PATH, dir PATH, ln TARGET PATH
//   star PATH[#TRACK] STARS [USER]
//   homes on|off, account gone|back    alice's
//   register PATH..., pass-over NAMES, configuration lost
//   roots two     one server for this root and another, whose "register" and "index" follow "other"
//   roots own     the server is this root's alone again
//   known-folders lost|unreadable      the list of the folders that were indexed
//   due PATH      a record that another run has left to settle
//   index [OPTION|PATH...] => COUNTS   those that are not 0; "!" first: exit status 1, "?": another
//   says TEXT                          in the warnings of the last run
//   rows => PATH[#TRACK][<ORIGIN][*STARS]...   ORIGIN is where the row was first
//   lists => PATH[<ORIGIN]...
//   places => FOLDERS LISTS FOLDERS-OF-USERS, outbox => ROWS, owners => of all rows
//   rebuild                            an emptied library gets the same stars
// Paths are below the music folder, or in a home when they begin with "~alice/" or "~bob/", or
// beside the music folder when they begin with "../".
struct TreeCase {
    const char *name;
    const char *script;
};

inline constexpr TreeCase kTreeCases[] = {
    {"EqualFilesArePairedByNameThenByOrder",
     "put x/a.mp3 S\n put x/b.mp3 S\n put x/c.mp3 S\n index => added 3\n"
     "star x/a.mp3 1\n star x/b.mp3 2\n star x/c.mp3 3\n"
     "mv x/a.mp3 y/1.mp3\n mv x/b.mp3 y/b.mp3\n mv x/c.mp3 y/2.mp3\n put x/other.mp3 O\n"
     "index => added 1, moved 3\n"
     "rows => x/other.mp3 y/1.mp3<x/a.mp3*1 y/2.mp3<x/c.mp3*3 y/b.mp3<x/b.mp3*2\n rebuild\n"},
    {"EqualFilesArePairedByFolderBeforeOrder",
     "put a/1.mp3 S\n put b/1.mp3 S\n put c/keeps.mp3 K\n index => added 3\n"
     "mv b/1.mp3 b/0.mp3\n mv a/1.mp3 c/2.mp3\n index => moved 2, unchanged 1\n"
     "rows => b/0.mp3<b/1.mp3 c/2.mp3<a/1.mp3 c/keeps.mp3\n"},
    {"EachLostRowTakesACopyThatFitsIt",
     "put a.mp3 S\n put k.mp3 K\n index => added 2\n star a.mp3 5\n"
     "cp a.mp3 n.mp3\n index => added 1, unchanged 2\n"
     "cp a.mp3 y.mp3\n index => added 1, unchanged 3\n star y.mp3 2\n rm a.mp3\n rm y.mp3\n"
     "index => moved 1, removed 1, unchanged 2\n rows => k.mp3 n.mp3<a.mp3*5\n"},
    {"ARecordOfATrackGoesWithTheSongOfItsPath",
     "sample a/x.flac tone.flac\n sheet a/x.flac\n sample b/x.ogg tone.ogg\n sheet b/x.ogg\n"
     "put b/k.mp3 K\n index => added 3; cue sheets: added 2\n"
     "star a/x.flac#1 5\n star b/x.ogg#1 4\n"
     "rm a/x.cue\n rm b/x.cue\n mv a/x.flac c/x.flac\n mv b/x.ogg a/x.flac\n"
     "index => moved 2, unchanged 1; cue sheets: removed 2\n sheet a/x.flac\n"
     "index => changed 1, unchanged 2; cue sheets: added 1\n"
     "rows => a/x.flac<b/x.ogg a/x.flac#1 a/x.flac#2 b/k.mp3 c/x.flac<a/x.flac\n"},
    {"ADamagedFileAtTheOldNameKeepsNoRowOfTheSong",
     "put 1.mp3 S\n put o.mp3 O\n index => added 2\n mv 1.mp3 2.mp3\n write 1.mp3 junk\n"
     "index => moved 1, unchanged 1, failed 1\n rows => 2.mp3<1.mp3 o.mp3\n"
     "index => unchanged 2, failed 1\n"},
    {"AMoveIsFoundBetweenGivenPaths",
     "put a/1.mp3 A\n put b/2.mp3 B\n index => added 2\n star a/1.mp3 5\n"
     "mv a/1.mp3 b/1.mp3\n rm a\n index a/1.mp3 b/1.mp3 => moved 1, unchanged 1\n"
     "rows => b/1.mp3<a/1.mp3*5 b/2.mp3\n"},
    {"NoRowGoesToAnotherOwner",
     "homes on\n put ~alice/a.mp3 A\n put ~alice/l.mp3 L\n put s.mp3 S\n put ~alice/t.mp3 T\n"
     "put ~bob/t.mp3 T\n index => added 5\n cp ~alice/l.mp3 l.mp3\n cp s.mp3 ~bob/s.mp3\n"
     "index => added 2, unchanged 5\n star ~alice/a.mp3 5\n star ~alice/l.mp3 4\n star s.mp3 3\n"
     "mv ~alice/a.mp3 ~bob/a.mp3\n rm ~alice/l.mp3\n rm s.mp3\n"
     "index => added 1, removed 3, unchanged 4\n"
     "rows => l.mp3 ~alice/t.mp3 ~bob/a.mp3 ~bob/s.mp3 ~bob/t.mp3\n"},
    {"SongsRenamedOverEachOtherKeepTheirRows",
     "put 1.mp3 A\n put 2.mp3 B\n put 3.mp3 C\n put 4.mp3 D\n"
     "sample a/album.flac tone.flac\n sheet a/album.flac\n"
     "sample b/album.ogg tone.ogg\n sheet b/album.ogg\n index => added 6; cue sheets: added 2\n"
     "star 1.mp3 1\n star 2.mp3 2\n star 3.mp3 3\n star 4.mp3 4\n star b/album.ogg#1 5\n"
     "mv 4.mp3 5.mp3\n mv 3.mp3 4.mp3\n mv 2.mp3 3.mp3\n mv 1.mp3 2.mp3\n mv 5.mp3 1.mp3\n"
     "mv a c\n mv b a\n mv c b\n"
     "index --dry-run => moved 6; cue sheets: changed 2\n index => moved 6; cue sheets: changed 2\n"
     "rows => 1.mp3<4.mp3*4 2.mp3<1.mp3*1 3.mp3<2.mp3*2 4.mp3<3.mp3*3"
     " a/album.ogg<b/album.ogg a/album.ogg#1<b/album.ogg#1*5 a/album.ogg#2<b/album.ogg#2"
     " b/album.flac<a/album.flac b/album.flac#1<a/album.flac#1 b/album.flac#2<a/album.flac#2\n"
     "rebuild\n"},
    {"ASongPutOverAnotherTakesItsPlace",
     "put 1.mp3 A\n put 2.mp3 B\n put keeps.mp3 K\n index => added 3\n"
     "star 1.mp3 3\n star 2.mp3 4\n mv 1.mp3 2.mp3\n"
     "index => moved 1, removed 1, unchanged 1\n rows => 2.mp3<1.mp3*3 keeps.mp3\n rebuild\n"},
    {"AnotherSoundOrACopyOverASongIsAnEdit",
     "put 1.mp3 A\n put 2.mp3 B\n index => added 2\n star 1.mp3 4\n star 2.mp3 2\n"
     "put 2.mp3 Z\n index => changed 1, unchanged 1\n"
     "cp 2.mp3 1.mp3\n index => changed 1, unchanged 1\n rows => 1.mp3*4 2.mp3*2\n"},
    {"RetaggedSongsThatChangePlacesStayEdits",
     "put 1.mp3 First/A\n put 2.mp3 Second/A\n index => added 2\n star 1.mp3 4\n"
     "put 1.mp3 Other/A\n put 2.mp3 More/A\n index => changed 2\n rows => 1.mp3*4 2.mp3\n"},
    // The copy gets the stars of its own tracks, not those of the song that took the path.
    {"ASplitFileWhosePathIsTakenLivesOnInItsCopy",
     "put a/album.mp3 A\n sheet a/album.mp3\n put b/album.mp3 B\n sheet b/album.mp3\n"
     "index => added 2; cue sheets: added 2\n star a/album.mp3#1 5\n star b/album.mp3#2 3\n"
     "cp a copy\n index => added 1, unchanged 2; cue sheets: added 1, unchanged 2\n"
     "mv b/album.mp3 a/album.mp3\n index => moved 2, unchanged 1; cue sheets: unchanged 3\n"
     "rows => a/album.mp3<b/album.mp3 a/album.mp3#1<b/album.mp3#1 a/album.mp3#2<b/album.mp3#2*3"
     " copy/album.mp3<a/album.mp3 copy/album.mp3#1<a/album.mp3#1*5"
     " copy/album.mp3#2<a/album.mp3#2\n"},
    {"ACopyThatOutlivesItsOriginalTakesItsRow",
     "put a/1.mp3 A\n put a/2.mp3 B\n put a/album.mp3 C\n sheet a/album.mp3\n"
     "index => added 3; cue sheets: added 1\n star a/1.mp3 5\n star a/album.mp3#2 3\n"
     "cp a b\n cp a/1.mp3 b/0.mp3\n put keeps/3.mp3 K\n"
     "index b => added 4; cue sheets: added 1\n"
     "star b/2.mp3 1\n rm a\n"  // a copy with stars of its own keeps its row
     "index --dry-run => added 1, moved 2, removed 1, unchanged 4;"
     " cue sheets: removed 1, unchanged 1\n"
     "index => added 1, moved 2, removed 1, unchanged 4; cue sheets: removed 1, unchanged 1\n"
     "rows => b/0.mp3 b/1.mp3<a/1.mp3*5 b/2.mp3*1 b/album.mp3<a/album.mp3"
     " b/album.mp3#1<a/album.mp3#1 b/album.mp3#2<a/album.mp3#2*3 keeps/3.mp3\n rebuild\n"
     "index => unchanged 5; cue sheets: unchanged 1\n"},
    {"AnEmptyInnerFolderKeepsItsSongsUnlessTheyAreElsewhere",
     "put disk/album/1.mp3 A\n put here/2.mp3 B\n index => added 2\n mv disk/album ../away\n"
     "index => !unchanged 1\n says disk/: the folder is empty; its songs and lists stay in the "
     "library: 1\n"
     "index disk/album/1.mp3 => !\n index disk/album => !\n"
     "rows => disk/album/1.mp3 here/2.mp3\n"
     "mv ../away/1.mp3 here/1.mp3\n index => moved 1, unchanged 1\n"
     "rows => here/1.mp3<disk/album/1.mp3 here/2.mp3\n"
     "rm here/1.mp3\n rm here/2.mp3\n index => !\n index --purge --dry-run => removed 2\n"
     "rows => here/1.mp3<disk/album/1.mp3 here/2.mp3\n index --purge => removed 2\n rows =>\n"},
    {"AMountPointWithoutItsDiskKeepsItsSongsAndLists",
     "put a/1.mp3 A\n write playlists/old.m3u 1\n index => added 1; playlists: added 1\n"
     "mv . ../away\n write playlists/new.m3u 2\n index => !\n says none of its files is there\n"
     "index playlists => !\n mv . ../mount\n mv ../away .\n"
     "index => unchanged 1; playlists: unchanged 1\n rows => a/1.mp3\n lists => playlists/old.m3u\n"
     "mv . ../away\n mv ../mount .\n"
     "index --purge => removed 1; playlists: added 1, removed 1\n"
     "mv . ../mount\n write stray/README.txt x\n index => !\n says none of its files is there\n"
     "lists => playlists/new.m3u\n"},
    {"ARegisteredFolderThatCannotBeSeenKeepsItsSongs",
     "put a/1.mp3 A\n put ../other/2.mp3 B\n register . ../other\n index => added 2\n"
     "mv . ../away\n index => !unchanged 1\n says music/: No such file or directory; its songs "
     "and lists stay\n"
     "dir .\n index => !unchanged 1\n says music/: the folder is empty; its songs and lists stay\n"
     "write README.txt mount\n index => !unchanged 1\n says its songs and lists stay in the "
     "library\n"
     "rm .\n mv ../away .\n index => unchanged 2\n dir ../fresh\n"
     "register . ../other ../fresh\n index => unchanged 2\n"
     "register ../other\n index => removed 1, unchanged 1\n rows => ../other/2.mp3\n"},
    {"ALinkToAnAbsentDiskKeepsItsSongs",
     "put here.mp3 A\n put ../disk/sub/1.mp3 B\n ln ../disk/sub link\n index => added 2\n"
     "mv ../disk ../away\n index => !unchanged 1\n rows => here.mp3 link/1.mp3\n"},
    {"ListsAreCountedAndKeptLikeSongs",
     "put here/1.mp3 A\n write lists/a.m3u 1\n write ../disk/c.pls 2\n"
     "ln ../disk/c.pls here/c.pls\n index => added 1; playlists: added 2\n"
     "index => unchanged 1; playlists: unchanged 2\n"
     "mv lists/a.m3u ../a.m3u\n mv ../disk ../away\n index => !unchanged 1\n"
     "says lists/: the folder is empty; its songs and lists stay in the library: 1\n"
     "says c.pls: No such file or directory; its songs and lists stay\n"
     "index => !unchanged 1\n mv ../away ../disk\n mv ../a.m3u lists/a.m3u\n"
     "index => unchanged 1; playlists: unchanged 2\n rm lists/a.m3u\n"
     "index --purge --dry-run => unchanged 1; playlists: removed 1, unchanged 1\n"
     "lists => here/c.pls lists/a.m3u\n"
     "index --purge => unchanged 1; playlists: removed 1, unchanged 1\n lists => here/c.pls\n"
     "write here/c.m3u 3\n write here/none.cue 4\n"
     "index => unchanged 1; playlists: added 1, unchanged 1; cue sheets: added 1\n"
     "write here/c.m3u changed\n mv here/none.cue here/more.cue\n"
     "index => unchanged 1; playlists: changed 1, unchanged 1; cue sheets: moved 1\n"
     "lists => here/c.m3u here/c.pls here/more.cue<here/none.cue\n"},
    // Of equal lists each goes by its name or its time. "homes" is an empty folder at the end.
    {"MovedListsKeepTheirRowsButNotForAnotherOwner",
     "homes on\n put 1.mp3 A\n write a/x.m3u x\n write a/stays.m3u same\n write b/same.m3u same\n"
     "write c/same.m3u same\n write emptied/3.m3u third\n write homes/4.m3u fourth\n"
     "write replaced/5.m3u number 5\n write ~alice/mine.pls [playlist]\n"
     "index => added 1; playlists: added 8\n"
     "mv a/x.m3u z/new/x.M3U8\n mv b/same.m3u y/b/same.m3u\n mv c/same.m3u y/c/same.m3u\n"
     "mv emptied/3.m3u x/3.m3u\n mv ~alice/mine.pls ~alice/yours.pls\n"
     "index --dry-run => unchanged 1; playlists: moved 5, unchanged 3\n"
     "index => unchanged 1; playlists: moved 5, unchanged 3\n"
     "lists => a/stays.m3u homes/4.m3u replaced/5.m3u x/3.m3u<emptied/3.m3u"
     " y/b/same.m3u<b/same.m3u y/c/same.m3u<c/same.m3u z/new/x.M3U8<a/x.m3u"
     " ~alice/yours.pls<~alice/mine.pls\n"
     "mv homes/4.m3u ~alice/4.m3u\n rm replaced/5.m3u\n write replaced/6.m3u other\n"
     "index --purge => unchanged 1; playlists: added 2, removed 2, unchanged 6\n"},
    {"FoldersLoseTheirRowsWithTheirSongsAndLists",
     "put rock/one/1.mp3 A\n put rock/one/2.mp3 B\n put rock-live/3.mp3 C\n"
     "write lists/Best.M3U8 1\n write lists/empty/notes.txt 2\n"
     "index => added 3; playlists: added 1\n places => 5 1 0\n rm rock-live\n rm lists/Best.M3U8\n"
     "index rock => unchanged 2\n places => 5 1 0\n"
     "index => removed 1, unchanged 2; playlists: removed 1\n places => 3 0 0\n"
     "put 4.mp3 D\n write rock/one/cover.txt 3\n index => added 1, unchanged 2\n"
     "rm rock/one/1.mp3\n rm rock/one/2.mp3\n index rock/one => removed 2\n places => 1 0 0\n"},
    // The links lead to records that the scan must not remove.
    {"ALinkInPlaceOfAMovedFolderLosesNoRecord",
     "put zeta/1.mp3 A\n index => added 1\n star zeta/1.mp3 5\n mv zeta alpha\n ln alpha zeta\n"
     "index => moved 1\n rebuild\n write ../others/@eaDir/1.mp3/VARNAUDIO_SONG_RATING 1031=4\n"
     "mv alpha omega\n ln ../others alpha\n index => moved 1\n rm zeta\n put ../others/1.mp3 B\n"
     "index => added 1, unchanged 1\n rows => alpha/1.mp3*4 omega/1.mp3<alpha/1.mp3*5\n"},
    {"HomesThatAreAwayKeepTheirSongs",
     "put shared.mp3 S\n put ~alice/a.mp3 A\n write ~bob/mine.pls 1\n homes off\n"
     "index => added 1\n homes on\n index => added 1, unchanged 1; playlists: added 1\n"
     "mv ~alice/. ../alice\n index => !unchanged 1; playlists: unchanged 1\n"
     "says home music folder\n rows => shared.mp3 ~alice/a.mp3\n mv ../alice ~alice/.\n"
     "index => unchanged 2; playlists: unchanged 1\n"
     "mv ~bob/. ../bob\n ln ~alice/. ~bob/.\n"  // alice's songs do not become bob's
     "index => unchanged 2, failed 1; playlists: removed 1\n says bob/music/: skipped, a link\n"
     "rows => shared.mp3 ~alice/a.mp3\n"
     "homes off\n index => removed 1, unchanged 1\n rows => shared.mp3\n"},
    // Shared rows become a user's, and shared again. Those of a user without an account go.
    {"RowsHaveTheOwnerThatTheirFolderHasNow",
     "put ~alice/a.mp3 A\n write ~alice/mine.m3u 1\n register ~alice/../../..\n homes off\n"
     "index => added 1; playlists: added 1\n owners => 0 0 0\n homes on\n"
     "index => changed 1; playlists: added 1, removed 1\n owners => 1030 1030 1030\n homes off\n"
     "index => changed 1; playlists: added 1, removed 1\n owners => 0 0 0\n homes on\n"
     "account gone\n index => removed 1; playlists: removed 1\n owners =>\n account back\n"
     "index => added 1; playlists: added 1\n account gone\n index =>\n"
     "owners => 1030 1030 1030\n index --purge => removed 1; playlists: removed 1\n owners =>\n"},
    {"ALostConfigurationEmptiesNothing",
     "homes on\n put a/1.mp3 A\n put ~alice/2.mp3 B\n index => added 2\n register\n"
     "index => !unchanged 1\n says no shared folder is indexed\n register .\n"
     "configuration lost\n index => !unchanged 1\n rows => a/1.mp3 ~alice/2.mp3\n"
     "homes off\n index => removed 1, unchanged 1\n rows => a/1.mp3\n"},
    {"ADeletedSongLosesItsStarsAndOneOfAnUnregisteredFolderDoesNot",
     "put gone/1.mp3 A\n put kept/2.mp3 B\n put kept/3.mp3 C\n index => added 3\n"
     "star gone/1.mp3 5\n star kept/2.mp3 4\n star kept/3.mp3 3\n rm kept/3.mp3\n"
     "index => removed 1, unchanged 2\n register kept\n index => removed 1, unchanged 1\n"
     "register .\n put kept/3.mp3 D\n index => added 2, unchanged 1\n"
     "rows => gone/1.mp3*5 kept/2.mp3*4 kept/3.mp3\n"},
    {"SheetsThatSplitNothingAreNamed",
     "put split/01.mp3 A\n put split/02.mp3 B\n sample bad/1.flac tone.flac\n"
     "write split/album.cue FILE \"album.wav\" WAVE|TRACK 01 AUDIO|INDEX 01 00:00:00|"
     "TRACK 02 AUDIO|INDEX 01 00:00:50\n"
     "write split/alb\xFFm.cue FILE \"01.mp3\" MP3|TRACK 01 AUDIO|INDEX 01 00:00:00\n"
     "write split/tracks.cue FILE \"01.mp3\" MP3|TRACK 01 AUDIO|INDEX 01 00:00:00|"
     "FILE \"02.mp3\" MP3|TRACK 02 AUDIO|INDEX 01 00:00:00\n"
     "write bad/1.cue FILE \"1.flac\" WAVE|TRACK 01 AUDIO|INDEX 01 00:00:50|"
     "TRACK 02 AUDIO|INDEX 01 00:00:20\n"
     "index => added 3, failed 1; cue sheets: added 3\n says bad/1.cue: not used, \n"
     "says m.cue: skipped, the name is not UTF-8\n"
     "says album.cue: no use for its file \"album.wav\"\n"
     "rows => bad/1.flac split/01.mp3 split/02.mp3\n put split/03.mp3 C\n"
     "index => added 1, unchanged 3, failed 1; cue sheets: unchanged 3\n"
     "index => unchanged 4, failed 1; cue sheets: unchanged 3\n"},
    // The sheet is lost, damaged or names another file. Only --purge removes its tracks.
    {"TracksStayWhileTheirSheetCannotBeUsed",
     "sample disc/album.flac tone.flac\n put disc/other.mp3 O\n sheet disc/album.flac\n"
     "mv disc/album.cue ../disk/album.cue\n ln ../disk/album.cue disc/album.cue\n"
     "index => added 2; cue sheets: added 1\n star disc/album.flac#1 3\n"
     "star disc/album.flac#2 3\n mv ../disk ../away\n"
     "index => !unchanged 2\n says album.cue: not used, No such file\n"
     "says album.flac: its tracks stay\n mv ../away ../disk\n"
     "index => unchanged 2; cue sheets: unchanged 1\n"
     "write ../disk/album.cue FILE \"album.flac\" WAVE|TRACK 01 AUDIO|INDEX 01 rubbish\n"
     "index => !unchanged 2; cue sheets: changed 1\n says album.cue: not used, \n"
     "says album.flac: its tracks stay\n"
     "write ../disk/album.cue FILE \"none.flac\" WAVE|TRACK 01 AUDIO|INDEX 01 00:00:00|"
     "TRACK 02 AUDIO|INDEX 01 00:00:50\n"
     "put disc/album.mp3 P\n index => !added 1, unchanged 2; cue sheets: changed 1\n"
     "says no use for its file\n says album.flac: its tracks stay\n rm disc/album.mp3\n"
     "rm ../disk/album.cue\n mv disc moved\n"
     "index => !moved 2, removed 1; cue sheets: removed 1\n"
     "rows => moved/album.flac<disc/album.flac moved/album.flac#1<disc/album.flac#1*3"
     " moved/album.flac#2<disc/album.flac#2*3 moved/other.mp3<disc/other.mp3\n"
     "sheet ../disk/album.flac\n index => changed 1, unchanged 1; cue sheets: added 1\n"
     "rows => moved/album.flac<disc/album.flac moved/album.flac#1<disc/album.flac#1*3"
     " moved/album.flac#2<disc/album.flac#2*3 moved/other.mp3<disc/other.mp3\n"
     "rm ../disk/album.cue\n index --purge => changed 1, unchanged 1; cue sheets: removed 1\n"
     "rows => moved/album.flac<disc/album.flac moved/other.mp3<disc/other.mp3\n"},
    // Stars that came with the copied record are not stars of the copy's own.
    {"ACopyWithItsRecordOutlivesTheOriginal",
     "put a/1.mp3 A\n put a/2.mp3 B\n put a/album.mp3 C\n sheet a/album.mp3\n"
     "index => added 3; cue sheets: added 1\n star a/1.mp3 4\n star a/2.mp3 4\n"
     "star a/album.mp3#2 4\n cp a b\n put keeps/3.mp3 K\n"
     "index => added 4, unchanged 3; cue sheets: added 1, unchanged 1\n star a/1.mp3 2 1031\n"
     "star b/2.mp3 1 1031\n rm a\n"
     "index => moved 2, removed 1, unchanged 4; cue sheets: removed 1, unchanged 1\n"
     "rows => b/1.mp3<a/1.mp3*4*2 b/2.mp3*4*1 b/album.mp3<a/album.mp3"
     " b/album.mp3#1<a/album.mp3#1 b/album.mp3#2<a/album.mp3#2*4 keeps/3.mp3\n rebuild\n"},
    {"GivenPathsAreThoseOfTheIndexedFolders",
     "put a/1.mp3 A\n ln . ../link\n index ../link/a => added 1\n index => unchanged 1\n"
     "index .. => !\n says is in no indexed folder\n index ./\xFF => !\n says is not UTF-8\n"
     "index --no-such-option => ?\n put a/2.mp3 B\n index a/2.mp3 => added 1, unchanged 1\n"
     "rm a/2.mp3\n index a/3.mp3 a/2.mp3 => !\n says a/3.mp3 does not exist\n"
     "index a/2.mp3 => removed 1, unchanged 1\n"},
    {"GivenPathsAreTakenAsAScanOfEverythingTakesThem",
     "put ../disk/1.mp3 A\n put real/2.mp3 B\n put $Recycle.Bin/3.mp3 C\n put real/.4.mp3 D\n"
     "ln ../disk link\n ln real same\n index => added 2\n"
     "index link => unchanged 1\n index link/1.mp3 => unchanged 1\n index same => unchanged 1\n"
     "index same/2.mp3 => unchanged 1\n rows => link/1.mp3 real/2.mp3\n"
     "index $Recycle.Bin/3.mp3 => !\n says is passed over\n index real/.4.mp3 => !\n"
     "says is passed over\n pass-over Notes/REAL\n index => added 1, moved 1, unchanged 1\n"
     "rows => $Recycle.Bin/3.mp3 link/1.mp3 same/2.mp3<real/2.mp3\n"},
    {"ARootRemovesItsOwnRowsOnly",
     "roots two\n put mine/1.mp3 A\n put theirs/2.mp3 B\n put ~alice/3.mp3 C\n"
     "write mine/l.m3u 1\n write theirs/l.m3u 2\n register mine\n other register theirs\n"
     "homes on\n index => added 2; playlists: added 1\n"
     "other index => added 1; playlists: added 1\n places => 2 2 1\n"
     "index => unchanged 2; playlists: unchanged 1\n"
     // The dry run stores no list of folders: the run after it still knows the old ones.
     "put new/4.mp3 D\n other register new\n"
     "other index --dry-run => added 1, removed 1; playlists: removed 1\n"
     "other index => added 1, removed 1; playlists: removed 1\n places => 2 1 1\n"
     "rm mine/1.mp3\n put mine/5.mp3 E\n"
     "index => added 1, removed 1, unchanged 1; playlists: unchanged 1\n"
     "rows => mine/5.mp3 new/4.mp3 ~alice/3.mp3\n"
     // Without the list no root knows whose the rows are, and they stay.
     "homes off\n known-folders lost\n index --purge => unchanged 1; playlists: unchanged 1\n"
     "rows => mine/5.mp3 new/4.mp3 ~alice/3.mp3\n"},
    // A killed run of the other root left a record, whose files this root may not see.
    {"ARootSettlesItsOwnRecordsOnly",
     "roots two\n put mine/1.mp3 A\n put theirs/2.mp3 B\n register mine\n"
     "other register theirs\n due theirs/gone.mp3\n due mine/gone.mp3\n index => added 1\n"
     "outbox => 1\n index mine/1.mp3 => unchanged 1\n outbox => 1\n other index => added 1\n"
     "outbox => 0\n"},
    {"AFolderIsRememberedAsLongAsItsRowsStay",
     "roots two\n put mine/1.mp3 A\n put theirs/2.mp3 B\n put ~alice/3.mp3 C\n"
     "register mine\n other register theirs\n homes on\n index => added 2\n"
     "other index => added 1\n mv ~alice/.. ../alice\n index => !unchanged 1\n"
     "index => !unchanged 1\n homes off\n index => removed 1, unchanged 1\n"
     "known-folders => mine\n places => 2 0 0\n"},
    {"RowsOfAScanOfGivenPathsAreRemembered",
     "roots two\n put mine/1.mp3 A\n put theirs/2.mp3 B\n put short/3.mp3 C\n"
     "other register theirs\n other index => added 1\n register mine short\n"
     "index short => added 1\n register mine\n index => added 1, removed 1\n"
     "rows => mine/1.mp3 theirs/2.mp3\n"},
    {"AListOfFoldersThatCannotBeReadLosesNothing",
     "roots two\n put mine/1.mp3 A\n register mine\n index => added 1\n"
     "known-folders unreadable\n index => !\n says /var/lib/Tonvale/indexed\n"
     "rows => mine/1.mp3\n known-folders lost\n"},
    {"ARootThatHasAServerAloneRemovesAllOtherRows",
     "roots two\n put mine/1.mp3 A\n put theirs/2.mp3 B\n write theirs/l.m3u 1\n"
     "register mine\n other register theirs\n index => added 1\n"
     "other index => added 1; playlists: added 1\n roots own\n"
     "index => removed 1, unchanged 1; playlists: removed 1\n places => 1 0 0\n"},
};

}  // namespace tonvale_test
