-- What the indexer remembers of a file beside its tags.

ALTER TABLE track
    -- hash of the audio data, by which a file that was moved is known again; NULL: not read yet
    ADD COLUMN fingerprint bigint,
    -- hash of the cue sheets of the folder as they were when the file was read; 0: there were none
    ADD COLUMN sheet_stamp bigint NOT NULL DEFAULT 0;

-- Files with the name of audio that the indexer could not read, and need not read again while they
-- are the same.
CREATE TABLE unreadable_file (
    path             text NOT NULL,
    filesize         bigint NOT NULL,      -- bytes
    mdate            timestamp NOT NULL    -- UTC
);

CREATE INDEX unreadable_file_path ON unreadable_file USING hash (path);
