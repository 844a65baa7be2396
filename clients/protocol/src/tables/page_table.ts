// The form of the tables.

/** What a generated file of tables/ holds. */
export interface PageTable {
  /** The characters of the bytes 0x80 to 0xFF; "?" for one that is unassigned or a lead byte. */
  readonly single: string;
  /** First and last lead byte of a pair; nothing on a page of single bytes. */
  readonly lead?: readonly [number, number];
  /** The trail bytes, as ranges in order. */
  readonly trail?: readonly (readonly [number, number])[];
  /**
   * The characters of all pairs, by lead, then by trail. A number behind a character is the length
   * of a run of successors; "?" is unassigned.
   */
  readonly pairs?: string;
  /** Codes that win over a lower code of the same character. */
  readonly preferred?: readonly number[];
  /** Codes that are read and never written. */
  readonly readOnly?: readonly number[];
}
