-- The step of this number is on another branch; a merge puts it here.
SELECT 1;
