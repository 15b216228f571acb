-- What the indexer remembers of a file beside its tags.

ALTER TABLE track
    -- hash of the audio data, by which a file that was moved is known again; NULL: not read yet
    ADD COLUMN fingerprint bigint,
    -- hash of the cue sheets of the folder as they were when the file was read; 0: there were none
    ADD COLUMN sheet_stamp bigint NOT NULL DEFAULT 0;
