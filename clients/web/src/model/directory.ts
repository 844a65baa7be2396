// Who there is: people by department, the user's groups and friends.

import { computed, signal } from '@preact/signals';

export interface Person {
  readonly id: string;
  readonly login: string;
  readonly name: string;
  readonly department: string;
  readonly job: string;
  /** 0 offline, 1 online, 2 away, 3 on a phone. */
  readonly state: number;
}

export interface Department {
  readonly id: string;
  readonly parent: string;
  readonly name: string;
}

export interface Group {
  readonly id: string;
  readonly name: string;
  readonly remark: string;
  readonly admin: boolean;
  readonly muted: boolean;
}

export interface DirectoryAnswer {
  readonly departments: readonly Department[];
  readonly people: readonly Person[];
  readonly groups: readonly Group[];
  readonly friends: readonly string[];
}

export const departments = signal<readonly Department[]>([]);
export const people = signal<ReadonlyMap<string, Person>>(new Map());
export const groups = signal<ReadonlyMap<string, Group>>(new Map());
export const friends = signal<ReadonlySet<string>>(new Set());

export function setDirectory(answer: DirectoryAnswer): void {
  departments.value = answer.departments;
  people.value = new Map(answer.people.map((person) => [person.id, person]));
  groups.value = new Map(answer.groups.map((group) => [group.id, group]));
  friends.value = new Set(answer.friends);
}

export function nameOfPerson(id: string, otherwise = ''): string {
  return people.value.get(id)?.name || otherwise || id;
}

export function nameOfGroup(id: string, otherwise = ''): string {
  return groups.value.get(id)?.name || otherwise || id;
}

export function changePerson(id: string, change: Partial<Person>): void {
  const person = people.value.get(id);
  if (person) people.value = new Map(people.value).set(id, { ...person, ...change });
}

export function changeGroup(id: string, change: Partial<Group>): void {
  const group = groups.value.get(id);
  if (group) groups.value = new Map(groups.value).set(id, { ...group, ...change });
}

const order = new Intl.Collator(undefined, { numeric: true });
const byName = (a: { name: string }, b: { name: string }) => order.compare(a.name, b.name);

export interface Branch {
  readonly department: Department;
  readonly depth: number;
  readonly people: readonly Person[];
}

/** Departments from the top down, each with its people: who is there first. */
export const tree = computed<readonly Branch[]>(() => {
  const branches: Branch[] = [];
  const known = new Set(departments.value.map(({ id }) => id));
  const done = new Set<string>();
  const peopleOf = (id: string) =>
    [...people.value.values()]
      .filter((person) => person.department === id)
      .sort((a, b) => Number(b.state > 0) - Number(a.state > 0) || byName(a, b));
  const visit = (department: Department, depth: number) => {
    if (done.has(department.id)) return;
    done.add(department.id);
    branches.push({ department, depth, people: peopleOf(department.id) });
    const below = departments.value.filter(({ parent }) => parent === department.id);
    for (const child of [...below].sort(byName)) visit(child, depth + 1);
  };
  for (const top of departments.value.filter(({ parent }) => !known.has(parent))) visit(top, 0);
  // Those of a department that there is no more.
  const lost = [...people.value.values()].filter((person) => !done.has(person.department));
  if (lost.length > 0) {
    branches.push({ department: { id: '', parent: '', name: '' }, depth: 0, people: lost.sort(byName) });
  }
  return branches;
});

export const sortedGroups = computed(() => [...groups.value.values()].sort(byName));
